#include <sys/resource.h>

#include <cstdio>
#include <exception>

#include "trel/str.h"
#include "trel/trel_rpc.h"

/// fetch_file URL PATH TIMES: fetches the file so many times as the job does, and prints the peak
/// of the process's resident memory in kB.
int main(int argc, char** argv) try {
  if (argc != 4) {
    std::fputs("usage: fetch_file URL PATH TIMES\n", stderr);
    return 2;
  }
  for (int times = str::Int(argv[3]); times > 0; --times) trel_rpc::FetchFile(argv[1], argv[2], 0);
  rusage usage{};
  getrusage(RUSAGE_SELF, &usage);
  std::printf("%ld\n", usage.ru_maxrss);
  return 0;
} catch (const std::exception& error) {
  std::fprintf(stderr, "fetch_file: %s\n", error.what());
  return 1;
}
