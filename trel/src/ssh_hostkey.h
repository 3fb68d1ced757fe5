#pragma once

#include <string>

#include "ssh_session.h"

namespace trel_seam {

/// Compares the host's key with those in the file `known_hosts`. An unknown host is refused when
/// `strict`, else remembered: the file is made with mode 0644 and its directory with 0755 when
/// missing, because the system's ssh reads it too. Throws SshFailure (kHostKey); for a key that
/// changed it names the file and the line.
void CheckHostKey(const SshSession& session, const std::string& known_hosts, bool strict);

}  // namespace trel_seam
