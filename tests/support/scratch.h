#pragma once

#include <string>
#include <vector>

namespace support {

/// A directory of the test's own, removed with everything in it.
class Scratch {
 public:
  Scratch();
  ~Scratch();
  Scratch(const Scratch&) = delete;
  Scratch& operator=(const Scratch&) = delete;

  const std::string& Dir() const { return dir_; }
  /// The path of `name` in it.
  std::string Path(const std::string& name) const { return dir_ + "/" + name; }
  /// Makes a file in it and returns its path.
  std::string Write(const std::string& name, const std::string& text, unsigned mode = 0600) const;
  /// Makes a symbolic link to `target` in it and returns its path.
  std::string Link(const std::string& name, const std::string& target) const;
  /// The names in it, sorted.
  std::vector<std::string> Names() const;

 private:
  std::string dir_;
};

/// The contents of a file, empty when there is none.
std::string ReadFile(const std::string& path);
/// The permission bits of what `path` names, links not followed.
unsigned ModeOf(const std::string& path);

}  // namespace support
