#include "support/scratch.h"

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>

namespace support {

namespace fs = std::filesystem;

Scratch::Scratch() : dir_(fs::temp_directory_path() / "trel-unit-XXXXXX") {
  if (mkdtemp(dir_.data()) == nullptr) throw std::runtime_error("no directory for the test");
}

Scratch::~Scratch() {
  std::error_code ignored;
  fs::remove_all(dir_, ignored);
}

std::string Scratch::Write(const std::string& name, const std::string& text, unsigned mode) const {
  const auto path = Path(name);
  std::ofstream(path, std::ios::binary) << text;
  fs::permissions(path, fs::perms(mode));
  return path;
}

std::string Scratch::Link(const std::string& name, const std::string& target) const {
  fs::create_symlink(target, Path(name));
  return Path(name);
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

}  // namespace support
