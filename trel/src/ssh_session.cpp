#include "ssh_session.h"

#include <new>

#include "reason.h"
#include "tcp.h"

namespace trel_seam {
namespace {

/// Limits of libssh's own waiting, in seconds. A login or the start of a command may take its time
/// on a busy host; one that is gone is noticed by the kernel.
constexpr long kConnectTimeout = 20;
constexpr long kAnswerTimeout = 60;

std::string WithoutBrackets(const std::string& host) {
  const bool bracketed = host.size() > 2 && host.front() == '[' && host.back() == ']';
  return bracketed ? host.substr(1, host.size() - 2) : host;
}

std::string Place(const std::string& host, int port) {
  const auto name = host.find(':') != std::string::npos ? "[" + host + "]" : host;
  return name + ":" + std::to_string(port);
}

}  // namespace

SshSession::SshSession(const std::string& host, int port, const std::string& login,
                       const std::string& known_hosts)
    : session_(ssh_new(), ssh_free), place_(Place(WithoutBrackets(host), port)) {
  if (!session_) throw std::bad_alloc();
  SetOptions(WithoutBrackets(host), port, login, known_hosts);
  Connect();
}

SshSession::~SshSession() {
  ssh_disconnect(get());
}

void SshSession::SetOptions(const std::string& host, int port, const std::string& login,
                            const std::string& known_hosts) {
  const auto set = [this](ssh_options_e option, const void* value) {
    if (ssh_options_set(get(), option, value) != SSH_OK) throw Failure(SshStep::kConnect, Reason());
  };
  const int no = 0;
  const int yes = 1;
  set(SSH_OPTIONS_PROCESS_CONFIG, &no);  // before the host, which is what configurations match
  set(SSH_OPTIONS_HOST, host.c_str());
  set(SSH_OPTIONS_PORT, &port);
  set(SSH_OPTIONS_USER, login.c_str());
  set(SSH_OPTIONS_KNOWNHOSTS, known_hosts.c_str());
  set(SSH_OPTIONS_GLOBAL_KNOWNHOSTS, "/dev/null");
  set(SSH_OPTIONS_NODELAY, &yes);
  SetTimeout(kConnectTimeout);
}

void SshSession::SetTimeout(long seconds) {
  ssh_options_set(get(), SSH_OPTIONS_TIMEOUT, &seconds);
}

void SshSession::Connect() {
  if (ssh_connect(get()) != SSH_OK) throw Failure(SshStep::kConnect, Reason());
  CloseOnExec(ssh_get_fd(get()));
  // libssh itself never notices that a peer is gone.
  NoticeDeadPeer(ssh_get_fd(get()));
  SetTimeout(kAnswerTimeout);
}

std::string SshSession::Reason() const {
  return LowerFirst(ssh_get_error(get()));
}

SshFailure SshSession::Failure(SshStep step, const std::string& why) const {
  return SshFailure(step, place_ + ": " + why);
}

}  // namespace trel_seam
