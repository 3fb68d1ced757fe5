#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <fstream>
#include <string>

/// Loaded into a process before all else: writes into the file that SELF_USAGE names what the
/// process itself has used, when it ends. What the system tells of a process that has ended counts
/// its children in, and the memory of the process that started it.
namespace {

const struct SelfUsage {
  ~SelfUsage() {
    const char* path = std::getenv("SELF_USAGE");
    if (path == nullptr) return;
    timespec used{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &used);
    std::ofstream told(path);
    told << "self_cpu "
         << static_cast<double>(used.tv_sec) * 1e3 + static_cast<double>(used.tv_nsec) / 1e6
         << '\n';
    std::ifstream status("/proc/self/status");
    for (std::string line; std::getline(status, line);) {
      long peak = 0;
      if (std::sscanf(line.c_str(), "VmHWM: %ld", &peak) == 1) told << "self_peak " << peak << '\n';
    }
  }
} self_usage;

}  // namespace
