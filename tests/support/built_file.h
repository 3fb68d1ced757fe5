#pragma once

#include <string>
#include <vector>

namespace support {

/// What a command that ends well writes.
std::string OutputOf(const std::vector<std::string>& command);
/// What the first group of `pattern` matches in each line of `text` that has it.
std::vector<std::string> Matches(const std::string& text, const std::string& pattern);

}  // namespace support
