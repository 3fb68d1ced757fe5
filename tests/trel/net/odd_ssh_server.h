#pragma once

#include <libssh/libssh.h>

#include <functional>
#include <string>
#include <thread>

#include "raw_server.h"
#include "scratch.h"
#include "seam/ssh.h"

namespace net_test {

/// An SSH server for one connection that does what a real sshd does seldom or never.
class OddSshServer {
 public:
  struct Manner {
    int methods = SSH_AUTH_METHOD_PASSWORD;  ///< that it offers
    std::string password = "right";
    bool wants_more = false;  ///< a second step after the password
    bool hangs_up = false;    ///< after its first answer, before the password
    /// What it does with a command; empty: refuses to run it.
    std::function<void(ssh_session, ssh_channel)> run;
  };

  explicit OddSshServer(const Manner& manner);
  ~OddSshServer();
  OddSshServer(const OddSshServer&) = delete;
  OddSshServer& operator=(const OddSshServer&) = delete;

  int port() const { return listener_.port(); }
  std::string place() const { return "127.0.0.1:" + std::to_string(port()); }
  /// Logs in with `password`.
  std::unique_ptr<trel_seam::SshConnection> Connect(const std::string& password = "right") const;

 private:
  void Serve();
  bool Answer(ssh_session session, ssh_message message);
  void Authenticate(ssh_session session, ssh_message message);

  Manner manner_;
  Scratch scratch_;
  Listener listener_;
  ssh_channel channel_ = nullptr;
  std::thread server_;
};

}  // namespace net_test
