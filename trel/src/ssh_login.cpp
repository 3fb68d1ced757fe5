#include "ssh_login.h"

#include <unistd.h>

#include <cerrno>

#include "reason.h"

namespace trel_seam {
namespace {

/// Asked for a passphrase that there is none of. Without it libssh would ask on the terminal.
int NoPassphrase(const char*, char*, std::size_t, int, int, void* asked) {
  *static_cast<bool*>(asked) = true;
  return -1;
}

std::string OfferedMethods(const SshSession& session) {
  constexpr std::pair<int, const char*> kNames[] = {
      {SSH_AUTH_METHOD_PUBLICKEY, "publickey"},
      {SSH_AUTH_METHOD_PASSWORD, "password"},
      {SSH_AUTH_METHOD_INTERACTIVE, "keyboard-interactive"},
      {SSH_AUTH_METHOD_HOSTBASED, "hostbased"},
      {SSH_AUTH_METHOD_GSSAPI_MIC, "gssapi-with-mic"},
  };
  const int offered = ssh_userauth_list(session.get(), nullptr);
  std::string text;
  for (const auto& [bit, name] : kNames) {
    if ((offered & bit) != 0) text += (text.empty() ? "" : ", ") + std::string(name);
  }
  return text.empty() ? "nothing" : text;
}

int TryKeyboardInteractive(ssh_session session, const std::string& password) {
  for (;;) {
    const int result = ssh_userauth_kbdint(session, nullptr, nullptr);
    if (result != SSH_AUTH_INFO) return result;
    const int prompts = ssh_userauth_kbdint_getnprompts(session);
    for (int i = 0; i < prompts; ++i)
      ssh_userauth_kbdint_setanswer(session, static_cast<unsigned>(i), password.c_str());
  }
}

int TryPassword(ssh_session session, const std::string& password) {
  int result = ssh_userauth_none(session, nullptr);  // makes the host say what it offers
  const int offered = ssh_userauth_list(session, nullptr);
  if (result == SSH_AUTH_DENIED && (offered & SSH_AUTH_METHOD_PASSWORD) != 0)
    result = ssh_userauth_password(session, nullptr, password.c_str());
  if (result == SSH_AUTH_DENIED && (offered & SSH_AUTH_METHOD_INTERACTIVE) != 0)
    result = TryKeyboardInteractive(session, password);
  return result;
}

}  // namespace

SshKey ReadKey(const SshTarget& target) {
  const bool is_text = target.key.starts_with("-----BEGIN");
  const auto name = is_text ? std::string("the given private key") : "private key " + target.key;
  const char* passphrase = target.passphrase.empty() ? nullptr : target.passphrase.c_str();
  const auto import = is_text ? ssh_pki_import_privkey_base64 : ssh_pki_import_privkey_file;
  if (!is_text && access(target.key.c_str(), R_OK) != 0)
    throw SshFailure(SshStep::kKey, name + ": " + ReasonOf(errno));
  bool asked = false;
  ssh_key key = nullptr;
  if (import(target.key.c_str(), passphrase, NoPassphrase, &asked, &key) == SSH_OK)
    return SshKey(key, ssh_key_free);
  throw SshFailure(SshStep::kKey, name + (asked ? ": it is encrypted and needs a passphrase"
                                                : ": malformed, or another passphrase is needed"));
}

void LogIn(const SshSession& session, const SshTarget& target, const SshKey& key) {
  const int result = key ? ssh_userauth_publickey(session.get(), nullptr, key.get())
                         : TryPassword(session.get(), target.password);
  if (result == SSH_AUTH_SUCCESS) return;
  if (ssh_is_connected(session.get()) == 0) throw session.Lost();
  const auto methods = OfferedMethods(session);
  const auto who = target.login + "@" + session.place();
  if (result == SSH_AUTH_PARTIAL)
    throw SshFailure(SshStep::kAuth, who + ": a further login step is required: " + methods);
  throw SshFailure(SshStep::kAuth, who + ": login refused, the host offers " + methods);
}

}  // namespace trel_seam
