#include "scratch.h"

#include <sys/stat.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>

namespace net_test {

namespace fs = std::filesystem;

Scratch::Scratch() : dir_(fs::temp_directory_path() / "trel-net-XXXXXX") {
  if (mkdtemp(dir_.data()) == nullptr) throw std::runtime_error("no directory for the test");
}

Scratch::~Scratch() {
  std::error_code ignored;
  fs::remove_all(dir_, ignored);
}

std::string Scratch::Write(const std::string& name, const std::string& text) const {
  const auto path = Path(name);
  std::ofstream(path, std::ios::binary) << text;
  fs::permissions(path, fs::perms(0600));
  return path;
}

std::vector<std::string> Scratch::Names() const {
  std::vector<std::string> names;
  for (const auto& entry : fs::directory_iterator(dir_)) names.push_back(entry.path().filename());
  std::sort(names.begin(), names.end());
  return names;
}

std::string ReadFile(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

unsigned ModeOf(const std::string& path) {
  return static_cast<unsigned>(fs::symlink_status(path).permissions());
}

std::string Shell(const std::string& command) {
  FILE* pipe = popen(command.c_str(), "re");
  std::string output;
  char piece[4096];
  while (const auto size = fread(piece, 1, sizeof piece, pipe)) output.append(piece, size);
  if (pclose(pipe) != 0) throw std::runtime_error("failed: " + command);
  return output.substr(0, output.find_last_not_of('\n') + 1);
}

}  // namespace net_test
