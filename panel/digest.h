#pragma once

#include <string>
#include <string_view>

namespace panel {

/// The SHA-256 of `bytes` in 64 lower-case hexadecimal digits.
std::string Sha256(std::string_view bytes);

}  // namespace panel
