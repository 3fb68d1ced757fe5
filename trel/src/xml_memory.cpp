#include <new>
#include <pugixml.hpp>

namespace {

/// Documents hold keys and password hashes: their memory comes from where that of the texts comes
/// from, so that a launcher which wipes the one wipes the other.
const bool kInstalled = [] {
  pugi::set_memory_management_functions(
      [](std::size_t size) { return ::operator new(size, std::nothrow); },
      [](void* memory) { ::operator delete(memory); });
  return true;
}();

}  // namespace
