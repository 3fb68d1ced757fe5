#pragma once

#include <string>

#include "ssh_session.h"

namespace trel_seam {

/// Reads the private key that `target` names or holds. Throws SshFailure (kKey), which names the
/// path and never the text.
SshKey ReadKey(const SshTarget& target);

/// Logs in with the key, or with the password where `key` is null. Throws SshFailure: kAuth when
/// the host refuses, kLost when the connection ends meanwhile.
void LogIn(const SshSession& session, const SshTarget& target, const SshKey& key);

}  // namespace trel_seam
