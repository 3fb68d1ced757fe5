#include <optional>

#include "seam/conf.h"
#include "seam/seam.h"
#include "ssh_command.h"
#include "ssh_hostkey.h"
#include "ssh_login.h"
#include "ssh_session.h"

namespace trel_seam {
namespace {

class LibsshConnection : public SshConnection {
 public:
  LibsshConnection(const SshTarget& target, const Conf& conf)
      : key_(target.by_key ? ReadKey(target) : SshKey(nullptr, ssh_key_free)),
        session_(target.host, target.port, target.login, conf.known_hosts) {
    CheckHostKey(session_, conf.known_hosts, conf.strict_host_keys);
    LogIn(session_, target, key_);
    key_.reset();
  }

  void Start(const std::string& command) override { command_.emplace(session_, command); }

  SshOutcome Finish(const std::string& input, bool) override {
    if (!command_) throw session_.Failure(SshStep::kLost, "no command runs");
    auto outcome = command_->Finish(input);
    command_.reset();
    return outcome;
  }

 private:
  SshKey key_;  // read before connecting: a bad one troubles no host
  SshSession session_;
  std::optional<SshCommand> command_;
};

class LibsshSsh : public Ssh {
 public:
  explicit LibsshSsh(std::optional<Conf> conf) : conf_(std::move(conf)) {}

  std::unique_ptr<SshConnection> Connect(const SshTarget& target) override {
    return std::make_unique<LibsshConnection>(target, conf_ ? *conf_ : Configuration());
  }

 private:
  std::optional<Conf> conf_;
};

}  // namespace

std::shared_ptr<Ssh> MakeSsh() {
  return std::make_shared<LibsshSsh>(std::nullopt);
}

std::shared_ptr<Ssh> MakeSsh(const Conf& conf) {
  return std::make_shared<LibsshSsh>(conf);
}

}  // namespace trel_seam
