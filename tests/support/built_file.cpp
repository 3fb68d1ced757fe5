#include "support/built_file.h"

#include <gtest/gtest.h>

#include <regex>
#include <string_view>

#include "trel/str.h"
#include "trel/trel_proc.h"

namespace support {

std::string OutputOf(const std::vector<std::string>& command) {
  trel_proc::Execute tool(command, 6);
  EXPECT_EQ(tool.Result(), 0) << tool.Str();
  return tool.Str();
}

std::vector<std::string> Matches(const std::string& text, const std::string& pattern) {
  const std::regex regex(pattern);
  std::vector<std::string> found;
  std::string_view rest = text;
  while (!rest.empty()) {
    const std::string line(str::GetWord(rest, "\n"));
    std::smatch match;
    if (std::regex_search(line, match, regex)) found.push_back(match[1]);
  }
  return found;
}

}  // namespace support
