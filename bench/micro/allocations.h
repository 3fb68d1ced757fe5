#pragma once

#include <cstddef>

namespace bench {

/// How often anything in the process has asked operator new for memory, libraries included.
std::size_t Allocations();

}  // namespace bench
