#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/stat.h>

#include <csignal>
#include <cstdio>

/// Prints what the launcher set for the process.
extern "C" int vormain(int, char**) {
  rlimit core{};
  getrlimit(RLIMIT_CORE, &core);
  std::printf("core %lu %lu\n", static_cast<unsigned long>(core.rlim_cur),
              static_cast<unsigned long>(core.rlim_max));
  std::printf("dumpable %d\n", prctl(PR_GET_DUMPABLE));
  std::printf("umask %03o\n", umask(0));
  std::printf("children %s\n", std::signal(SIGCHLD, SIG_DFL) == SIG_IGN ? "ignored" : "waited for");
  return 0;
}
