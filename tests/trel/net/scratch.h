#pragma once

#include <string>
#include <vector>

namespace net_test {

/// A directory of the test's own, removed with everything in it.
class Scratch {
 public:
  Scratch();
  ~Scratch();
  Scratch(const Scratch&) = delete;
  Scratch& operator=(const Scratch&) = delete;

  /// The path of `name` in it.
  std::string Path(const std::string& name) const { return dir_ + "/" + name; }
  /// Writes a file in it and returns its path.
  std::string Write(const std::string& name, const std::string& text) const;
  /// The names in it, sorted.
  std::vector<std::string> Names() const;

 private:
  std::string dir_;
};

/// The contents of a file, empty when there is none.
std::string ReadFile(const std::string& path);
/// The permission bits of a file.
unsigned ModeOf(const std::string& path);
/// Runs a command line and returns its standard output without the last line feed. Throws when its
/// status is not 0.
std::string Shell(const std::string& command);

}  // namespace net_test
