#include <sys/prctl.h>

#include <cstdint>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <optional>
#include <string>
#include <string_view>

#include "trel/trel_xml.h"

namespace {

/// True when the memory holds `size` bytes that are those of `reversed` from its end on: no copy of
/// the secret itself is needed to look for it. Reads memory that nobody owns any more.
__attribute__((no_sanitize("address"))) bool Holds(const char* begin, const char* end,
                                                   const char* reversed, std::size_t size) {
  for (const char* at = begin; at + size <= end; ++at) {
    std::size_t same = 0;
    while (same < size && at[same] == reversed[size - 1 - same]) ++same;
    if (same == size) return true;
  }
  return false;
}

/// Looks through all memory that this process may write for the second half of the secret: the
/// first bytes of what was freed are the allocator's. What a sanitizer keeps is too large.
bool IsLeft(const char* reversed) {
  constexpr std::uintptr_t kLargest = 64 << 20;
  std::ifstream maps("/proc/self/maps");
  for (std::string line; std::getline(maps, line);) {
    std::uintptr_t begin = 0;
    std::uintptr_t end = 0;
    char rights[5] = "";
    if (std::sscanf(line.c_str(), "%lx-%lx %4s", &begin, &end, rights) != 3) continue;
    if (std::strncmp(rights, "rw", 2) != 0 || end - begin > kLargest) continue;
    if (Holds(reinterpret_cast<const char*>(begin), reinterpret_cast<const char*>(end), reversed,
              std::strlen(reversed) / 2)) {
      return true;
    }
  }
  return false;
}

/// The secret, often enough that what is allocated in its place at once leaves most of it.
std::string Repeated(std::string_view reversed) {
  constexpr std::size_t kSize = 100'000;
  std::string text;
  while (text.size() < kSize) text.append(reversed.rbegin(), reversed.rend());
  return text;
}

void Tell(const char* what, const char* reversed) {
  std::printf("%s: %s\n", what, IsLeft(reversed) ? "found" : "gone");
}

}  // namespace

/// Tells whether the text that argv[1] is, read backwards, is found in the memory of the process
/// while something holds it and after that.
extern "C" int vormain(int, char** argv) {
  prctl(PR_SET_DUMPABLE, 1);  // a process that cannot be dumped may not see its own map
  const char* reversed = argv[1];
  std::optional<std::string> text(Repeated(reversed));
  Tell("in a text", reversed);
  text.reset();
  Tell("behind a text that grew", reversed);

  std::optional<trel_xml::Xml> document(trel_xml::Xml::Parse("<doc/>"));
  document->GetRoot().SetContent(Repeated(reversed));
  Tell("in a document", reversed);
  document.reset();
  Tell("behind a document", reversed);
  return 0;
}
