#include <stdexcept>

/// Throws an error of two lines.
extern "C" int vormain(int, char**) {
  throw std::runtime_error("first\nsecond");
}
