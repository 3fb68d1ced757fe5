#pragma once

#include <sys/types.h>

#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "raw_server.h"
#include "scratch.h"
#include "seam/conf.h"
#include "seam/ssh.h"

namespace net_test {

/// A real sshd on an ephemeral port of the loopback device, one process for each connection, with
/// keys of its own and root's login by the key of this test, into an empty home. Needs root.
class Sshd {
 public:
  /// `settings`: further lines of its configuration, which come first and so prevail.
  /// `family`: of the socket to listen on.
  explicit Sshd(const std::string& settings = "", int family = 2 /* AF_INET */);
  ~Sshd();
  Sshd(const Sshd&) = delete;
  Sshd& operator=(const Sshd&) = delete;

  int port() const { return listener_.port(); }
  std::string place() const { return "127.0.0.1:" + std::to_string(port()); }
  /// The private key that may log in, as a path.
  std::string key_file() const { return scratch_.Path("client"); }
  /// A path for a file that the test needs.
  const Scratch& scratch() const { return scratch_; }
  /// Makes a new host key of `type`, which later connections meet.
  void NewHostKey(const std::string& type = "ed25519");
  /// Ends every process that serves a connection.
  void Kill();
  /// What the processes have logged, once each has ended by itself.
  std::string Log();

  /// A configuration with a file of known hosts of its own, not yet there.
  trel_seam::Conf conf() const;
  /// A target that may log in.
  trel_seam::SshTarget target() const;
  /// A connection to `target()`.
  std::unique_ptr<trel_seam::SshConnection> Connect() const;

 private:
  void Serve();
  void WaitForSessions();  // with the lock held

  Scratch scratch_;
  Listener listener_;
  std::mutex mutex_;
  std::vector<pid_t> sessions_;
  std::thread server_;
};

/// Runs one command to its end.
trel_seam::SshOutcome RunOver(trel_seam::SshConnection& connection, const std::string& command,
                              const std::string& input = "");

/// Makes a key pair `path` and `path`.pub; `options` are further ones of ssh-keygen.
void MakeKey(const std::string& path, const std::string& options = "-t ed25519 -N ''");

}  // namespace net_test
