#pragma once

#include <cstddef>

/// The memory of the test program, which can run out.
struct Memory {
  std::size_t last_size = 0;     ///< of what was allocated last
  std::size_t failing_size = 0;  ///< 0: nothing fails
  int good = 0;  ///< how many allocations of that size are still well; then one fails
};

Memory& TestMemory();
