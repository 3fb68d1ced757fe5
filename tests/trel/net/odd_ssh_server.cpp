#include "odd_ssh_server.h"

#include <libssh/server.h>
#include <unistd.h>

#include "seam/conf.h"
#include "seam/seam.h"
#include "sshd.h"

namespace net_test {
namespace {

// libssh offers a callback in its place, which leaves no way to answer keyboard-interactive.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"
std::string PasswordIn(ssh_message message) {
  return ssh_message_auth_password(message);
}
#pragma GCC diagnostic pop

}  // namespace

OddSshServer::OddSshServer(const Manner& manner) : manner_(manner) {
  MakeKey(scratch_.Path("host"));
  server_ = std::thread([this] { Serve(); });
}

OddSshServer::~OddSshServer() {
  listener_.Stop();
  server_.join();
}

std::unique_ptr<trel_seam::SshConnection> OddSshServer::Connect(const std::string& password) const {
  trel_seam::Conf conf;
  conf.known_hosts = scratch_.Path("known_hosts");
  trel_seam::SshTarget target;
  target.host = "127.0.0.1";
  target.port = port();
  target.login = "alice";
  target.password = password;
  return trel_seam::MakeSsh(conf)->Connect(target);
}

void OddSshServer::Serve() {
  auto socket = listener_.Accept();
  if (!socket) return;
  const std::unique_ptr<ssh_bind_struct, decltype(&ssh_bind_free)> bind(ssh_bind_new(),
                                                                        ssh_bind_free);
  ssh_bind_options_set(bind.get(), SSH_BIND_OPTIONS_HOSTKEY, scratch_.Path("host").c_str());
  const std::unique_ptr<ssh_session_struct, decltype(&ssh_free)> session(ssh_new(), ssh_free);
  ssh_bind_accept_fd(bind.get(), session.get(), dup(socket.get()));
  socket.Close();
  if (ssh_handle_key_exchange(session.get()) != SSH_OK) return;
  ssh_set_auth_methods(session.get(), manner_.methods);
  for (bool goes_on = true; goes_on;) {
    auto* message = ssh_message_get(session.get());
    goes_on = message != nullptr && Answer(session.get(), message);
    ssh_message_free(message);
  }
  ssh_disconnect(session.get());
}

bool OddSshServer::Answer(ssh_session session, ssh_message message) {
  switch (ssh_message_type(message)) {
    case SSH_REQUEST_AUTH:
      Authenticate(session, message);
      return !manner_.hangs_up;
    case SSH_REQUEST_CHANNEL_OPEN:
      channel_ = ssh_message_channel_request_open_reply_accept(message);
      return true;
    case SSH_REQUEST_CHANNEL:
      if (!manner_.run) break;
      ssh_message_channel_request_reply_success(message);
      manner_.run(session, channel_);
      return true;
    default:
      break;
  }
  ssh_message_reply_default(message);
  return true;
}

void OddSshServer::Authenticate(ssh_session session, ssh_message message) {
  bool right = false;
  if (ssh_message_subtype(message) == SSH_AUTH_METHOD_PASSWORD) {
    right = PasswordIn(message) == manner_.password;
  } else if (ssh_message_subtype(message) == SSH_AUTH_METHOD_INTERACTIVE) {
    if (ssh_message_auth_kbdint_is_response(message) == 0) {
      const char* prompts[] = {"Password: "};
      char echo[] = {0};
      ssh_message_auth_interactive_request(message, "", "", 1, prompts, echo);
      return;
    }
    right = ssh_userauth_kbdint_getanswer(session, 0) == manner_.password;
  }
  if (right) {
    ssh_message_auth_reply_success(message, manner_.wants_more ? 1 : 0);
  } else {
    ssh_message_auth_set_methods(message, manner_.methods);
    ssh_message_reply_default(message);
  }
}

}  // namespace net_test
