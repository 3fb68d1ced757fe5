#include <gmock/gmock.h>
#include <unistd.h>

#include <cstdlib>
#include <exception>
#include <fstream>
#include <iostream>
#include <string>

#include "faults/page.h"
#include "support/scratch.h"

namespace {

int WritePage() {
  try {
    const auto tables = faults::MakeTables(faults::TheMatrix());
    const auto page = faults::ReplaceTables(support::ReadFile(PAGE), tables);
    std::ofstream(PAGE) << page;
    return 0;
  } catch (const std::exception& error) {
    std::cerr << error.what() << "\n";
    return 1;
  }
}

}  // namespace

/// The tests, or with "--table" as the only argument: writes the tables of docs/reliability.md.
int main(int argc, char** argv) {
  testing::InitGoogleMock(&argc, argv);
  // Thousands of small files: in memory, where there is such a place.
  if (access("/dev/shm", W_OK) == 0) setenv("TMPDIR", "/dev/shm", 0);
  if (argc == 2 && std::string(argv[1]) == "--table") return WritePage();
  return RUN_ALL_TESTS();
}
