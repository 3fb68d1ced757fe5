#pragma once

#include <memory>
#include <stdexcept>
#include <string>

#include "trel/export.h"

namespace trel_seam {

struct Conf;

/// Where to log in, and how. The secrets in it never leave it but to the peer.
struct SshTarget {
  std::string host;
  int port = 0;
  std::string login;
  bool by_key = false;
  std::string password;
  std::string key;         ///< path, or text that begins with "-----BEGIN"
  std::string passphrase;  ///< of the key
};

/// Which step failed.
enum class SshStep { kConnect, kHostKey, kKey, kAuth, kLost };

/// The connection could not be made, or is gone. what() says why and holds no secret.
class TREL_EXPORT SshFailure : public std::runtime_error {
 public:
  SshFailure(SshStep step, const std::string& why) : std::runtime_error(why), step_(step) {}
  SshStep step() const { return step_; }

 private:
  SshStep step_;
};

/// How a command ended.
struct SshOutcome {
  std::string output;  ///< standard output
  int status = 0;      ///< exit status, or 128 + signal number
};

/// An open connection. One command at a time: Start, then Finish.
class SshConnection {
 public:
  virtual ~SshConnection() = default;
  /// Starts `command` on a channel of its own. Throws SshFailure (kLost).
  virtual void Start(const std::string& command) = 0;
  /// Feeds `input` to the command, ends its input, and waits for its end. `closed` tells whether
  /// the caller ended the input or merely had no more to say. Throws SshFailure (kLost), also for
  /// more than 256 MiB of output.
  virtual SshOutcome Finish(const std::string& input, bool closed) = 0;
};

/// The way out for SSH.
class Ssh {
 public:
  virtual ~Ssh() = default;
  /// Connects, checks the host key against the known ones (remembering a new one unless told to be
  /// strict), and logs in. Throws SshFailure.
  virtual std::unique_ptr<SshConnection> Connect(const SshTarget& target) = 0;
};

/// The real body with a configuration of its own in place of the process's.
TREL_EXPORT std::shared_ptr<Ssh> MakeSsh(const Conf& conf);

}  // namespace trel_seam
