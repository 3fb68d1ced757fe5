// The process's own operator new and delete: what a job, the platform and the C++ libraries free is
// wiped first. Parameters, queries, replies and keys go through many texts, each of which would
// otherwise leave its copy behind. What C libraries allocate is not reached.

#include <malloc.h>

#include <cstdlib>
#include <cstring>
#include <new>

namespace {

void WipeAndFree(void* memory) noexcept {
  if (memory == nullptr) return;
  explicit_bzero(memory, malloc_usable_size(memory));
  std::free(memory);
}

}  // namespace

// The forms for arrays rest on these. Those for larger alignments, which no text uses, stay.

void* operator new(std::size_t size) {
  for (;;) {
    if (void* memory = std::malloc(size > 0 ? size : 1)) return memory;
    const auto handler = std::get_new_handler();
    if (handler == nullptr) throw std::bad_alloc();
    handler();
  }
}

void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
  return std::malloc(size > 0 ? size : 1);
}

void operator delete(void* memory) noexcept {
  WipeAndFree(memory);
}

void operator delete(void* memory, std::size_t) noexcept {
  WipeAndFree(memory);
}

void operator delete(void* memory, const std::nothrow_t&) noexcept {
  WipeAndFree(memory);
}
