#pragma once

#include <string>

namespace panel {

/// Makes room for a new Unix-domain socket at `path`: makes its directory when that is missing, and
/// removes a socket that nobody serves any more. Throws std::runtime_error when the path is too
/// long, is served by somebody, or holds anything but a socket.
void ClearSocketPath(const std::string& path);

}  // namespace panel
