#pragma once

#include <string>

namespace support {

/// Runs a command line and returns its standard output without the last line feed. Throws when its
/// status is not 0.
std::string Shell(const std::string& command);

}  // namespace support
