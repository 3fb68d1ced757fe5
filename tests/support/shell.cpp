#include "support/shell.h"

#include <cstdio>
#include <stdexcept>

namespace support {

std::string Shell(const std::string& command) {
  FILE* pipe = popen(command.c_str(), "re");
  std::string output;
  char piece[4096];
  while (const auto size = fread(piece, 1, sizeof piece, pipe)) output.append(piece, size);
  if (pclose(pipe) != 0) throw std::runtime_error("failed: " + command);
  return output.substr(0, output.find_last_not_of('\n') + 1);
}

}  // namespace support
