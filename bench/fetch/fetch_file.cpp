#include <sys/resource.h>

#include <cstdio>
#include <exception>

#include "trel/trel_rpc.h"

/// fetch_file URL PATH...: fetches the file as the job does, anew to each path, and prints the peak
/// of the process's resident memory in kB.
int main(int argc, char** argv) try {
  if (argc < 3) {
    std::fputs("usage: fetch_file URL PATH...\n", stderr);
    return 2;
  }
  for (int at = 2; at < argc; ++at) trel_rpc::FetchFile(argv[1], argv[at], 0);
  rusage usage{};
  getrusage(RUSAGE_SELF, &usage);
  std::printf("%ld\n", usage.ru_maxrss);
  return 0;
} catch (const std::exception& error) {
  std::fprintf(stderr, "fetch_file: %s\n", error.what());
  return 1;
}
