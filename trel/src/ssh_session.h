#pragma once

#include <libssh/libssh.h>

#include <memory>
#include <string>

#include "seam/ssh.h"

namespace trel_seam {

using SshKey = std::unique_ptr<ssh_key_struct, decltype(&ssh_key_free)>;

/// A connected session, not yet checked and not logged in.
class SshSession {
 public:
  /// Connects; `known_hosts` decides which of its keys the host is asked for. `host` may stand in
  /// brackets. Throws SshFailure (kConnect).
  SshSession(const std::string& host, int port, const std::string& login,
             const std::string& known_hosts);
  ~SshSession();
  SshSession(const SshSession&) = delete;
  SshSession& operator=(const SshSession&) = delete;

  ssh_session get() const { return session_.get(); }
  /// "host:port".
  const std::string& place() const { return place_; }
  /// libssh's account of the last thing that went wrong.
  std::string Reason() const;
  /// A failure whose text is the place and `why`.
  SshFailure Failure(SshStep step, const std::string& why) const;
  /// The failure of a connection that is gone.
  SshFailure Lost() const { return Failure(SshStep::kLost, "connection lost: " + Reason()); }

 private:
  void SetOptions(const std::string& host, int port, const std::string& login,
                  const std::string& known_hosts);
  void SetTimeout(long seconds);
  void Connect();

  std::unique_ptr<ssh_session_struct, decltype(&ssh_free)> session_;
  std::string place_;
};

}  // namespace trel_seam
