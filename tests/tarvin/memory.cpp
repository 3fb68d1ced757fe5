#include "memory.h"

#include <cstdlib>
#include <new>

Memory& TestMemory() {
  static Memory memory;
  return memory;
}

void* operator new(std::size_t size) {
  auto& memory = TestMemory();
  memory.last_size = size;
  if (size == memory.failing_size && memory.good-- == 0) {
    memory.failing_size = 0;
    throw std::bad_alloc();
  }
  if (void* block = std::malloc(size)) return block;
  throw std::bad_alloc();
}

void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
  return std::malloc(size);
}

void operator delete(void* block) noexcept {
  std::free(block);
}

void operator delete(void* block, std::size_t) noexcept {
  std::free(block);
}
