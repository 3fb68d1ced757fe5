#include "fuzz/fuzz.h"

#include <charconv>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>

#include "trel/str.h"

/// The entry that the fuzzer, and the replay of a corpus, call with each input.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  fuzz::Try({reinterpret_cast<const char*>(data), size});
  return 0;
}

namespace fuzz {

void Broken(const char* file, int line, const char* condition) {
  std::fprintf(stderr, "%s:%d: does not hold: %s\n", file, line, condition);
  std::abort();
}

std::string Part(std::string_view& rest) {
  return std::string(str::GetWord(rest, "\n----\n"));
}

std::vector<std::string> Lines(std::string_view text) {
  std::vector<std::string> lines;
  while (!text.empty()) lines.emplace_back(str::GetWord(text, "\n"));
  return lines;
}

std::string PercentDecoded(std::string_view text) {
  std::string decoded;
  while (!text.empty()) {
    unsigned code = static_cast<unsigned char>(text.front());
    std::size_t size = 1;
    if (text.front() == '%') {
      size = 3;
      ALWAYS(text.size() >= size);
      const auto parsed = std::from_chars(text.data() + 1, text.data() + size, code, 16);
      ALWAYS(parsed.ec == std::errc() && parsed.ptr == text.data() + size);
    }
    decoded += static_cast<char>(code);
    text.remove_prefix(size);
  }
  return decoded;
}

}  // namespace fuzz
