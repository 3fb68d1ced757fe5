#include <cstdio>

/// Prints its arguments and returns their number.
extern "C" int vormain(int argc, char** argv) {
  for (int i = 0; i < argc; ++i) std::printf("%s\n", argv[i]);
  std::printf("%s\n", argv[argc] == nullptr ? "end" : "no end");
  return argc;
}
