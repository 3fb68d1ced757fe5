#include "trel/trel_rpc.h"

#include <exception>
#include <sstream>

#include "seam/seam.h"
#include "trel/trel_err.h"
#include "wipe.h"

namespace trel_rpc {
namespace {

const char* NameOf(trel_seam::SshStep step) {
  switch (step) {
    case trel_seam::SshStep::kConnect:
      return "connect";
    case trel_seam::SshStep::kHostKey:
      return "hostkey";
    case trel_seam::SshStep::kKey:
      return "key";
    case trel_seam::SshStep::kAuth:
      return "auth";
    case trel_seam::SshStep::kLost:
      break;
  }
  return "lost";
}

/// Runs `step`, and turns its failure into the framework's error about `host`.
template <typename Step>
auto Run(const std::string& host, const Step& step) {
  try {
    return step();
  } catch (const trel_seam::SshFailure& failure) {
    throw trel_err::Error("ssh", NameOf(failure.step()), host, std::string(failure.what()));
  }
}

/// A target whose secrets do not outlive the login.
struct SecretTarget : trel_seam::SshTarget {
  ~SecretTarget() {
    Wipe(password);
    Wipe(key);
    Wipe(passphrase);
  }
};

SecretTarget ByPassword(const std::string& host, const std::string& login,
                        const std::string& password, int port) {
  SecretTarget target;
  target.host = host;
  target.port = port;
  target.login = login;
  target.password = password;
  return target;
}

SecretTarget ByKey(const std::string& host, const std::string& login, const std::string& key,
                   const std::string& passphrase, int port) {
  SecretTarget target;
  target.host = host;
  target.port = port;
  target.login = login;
  target.by_key = true;
  target.key = key;
  target.passphrase = passphrase;
  return target;
}

}  // namespace

/// A started command and, once waited for, how it ended.
struct SSH::Command {
  std::ostringstream in;
  bool done = false;
  trel_seam::SshOutcome outcome;
  std::exception_ptr failure;
};

SSH::SSH(const trel_seam::SshTarget& target) : host_(target.host) {
  connection_ = Run(host_, [&] { return trel_seam::Current().ssh->Connect(target); });
}

SSH::~SSH() = default;

SSH& SSH::Execute(const std::string& command) {
  if (command_ && !command_->done) Finish(false);
  command_.reset();
  Run(host_, [&] { connection_->Start(command); });
  command_ = std::make_unique<Command>();
  return *this;
}

std::ostream& SSH::In() {
  if (Current().done)
    trel_err::AssertError::Raise("trel_rpc.h", 0, "In", "the command's input has ended");
  return command_->in;
}

void SSH::CloseIn() {
  if (!Current().done) Finish(true);
}

std::string SSH::Str() {
  return Outcome().output;
}

int SSH::Result() {
  return Outcome().status;
}

SSH::Command& SSH::Current() {
  if (!command_) trel_err::AssertError::Raise("trel_rpc.h", 0, "SSH", "no command was started");
  return *command_;
}

const trel_seam::SshOutcome& SSH::Outcome() {
  if (!Current().done) Finish(false);
  if (command_->failure) std::rethrow_exception(command_->failure);
  return command_->outcome;
}

void SSH::Finish(bool closed) {
  command_->done = true;
  auto input = std::move(command_->in).str();
  try {
    command_->outcome = Run(host_, [&] { return connection_->Finish(input, closed); });
  } catch (const trel_err::Error&) {
    command_->failure = std::current_exception();
  }
  Wipe(input);
  if (command_->failure) std::rethrow_exception(command_->failure);
}

SSHpass::SSHpass(const std::string& host, const std::string& login, const std::string& password,
                 int port)
    : SSH(ByPassword(host, login, password, port)) {}

SSHkey::SSHkey(const std::string& host, const std::string& login, const std::string& key,
               const std::string& passphrase, int port)
    : SSH(ByKey(host, login, key, passphrase, port)) {}

}  // namespace trel_rpc
