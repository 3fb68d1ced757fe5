#pragma once

#include <cstddef>
#include <span>

namespace panel::dbserver {

/// A dump while it is made, without a copy of it anywhere. What makes it ends with the object.
class DumpStream {
 public:
  virtual ~DumpStream() = default;

  /// Fills the front of `buffer` with the next bytes and gives their number; waits until there are
  /// some. 0 is the end of a whole dump, and of nothing else: throws Error "system" with the words
  /// of the dumping program when it failed, however much was read before.
  virtual std::size_t Read(std::span<char> buffer) = 0;
};

}  // namespace panel::dbserver
