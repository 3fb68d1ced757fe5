// vorlaunch: loads a job and calls its entry as a program's main.

#include <dlfcn.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/stat.h>

#include <csignal>
#include <cstdio>
#include <exception>
#include <filesystem>
#include <string>

#include "trel/trel_proc.h"

namespace {

using Entry = int (*)(int, char**);

constexpr int kFailed = 1;
constexpr int kUsage = 2;
constexpr int kNotLoaded = 127;

/// One line, whatever `text` holds.
void Complain(const std::string& text) {
  std::string line = "vorlaunch: " + text;
  for (char& c : line) {
    if (c == '\n') c = ' ';
  }
  std::fprintf(stderr, "%s\n", line.c_str());
}

/// The file that JOB names: a path as it stands, a bare name beside the launcher.
std::string FileOf(const std::string& job) {
  if (job.find('/') != std::string::npos) return job;
  const auto launcher = std::filesystem::read_symlink("/proc/self/exe");
  return (launcher.parent_path() / ".." / "lib" / (job + ".so")).lexically_normal();
}

Entry Load(const std::string& job) {
  void* handle = dlopen(FileOf(job).c_str(), RTLD_NOW | RTLD_LOCAL);
  void* entry = handle != nullptr ? dlsym(handle, "vormain") : nullptr;
  if (entry == nullptr) Complain(job + ": " + dlerror());
  return reinterpret_cast<Entry>(entry);
}

/// A job's memory holds passwords and keys: it is never dumped, and no other process of the user
/// may look into it.
void ForbidDumps() {
  const rlimit none{0, 0};
  setrlimit(RLIMIT_CORE, &none);
  prctl(PR_SET_DUMPABLE, 0);
}

int Launch(int argc, char** argv) {
  ForbidDumps();
  umask(077);  // what is made without a word about its mode is its owner's alone
  const Entry entry = Load(argv[0]);
  if (entry == nullptr) return kNotLoaded;
  // Ignored by whoever started us, it would cost the job its children's exit statuses.
  std::signal(SIGCHLD, SIG_DFL);
  trel_proc::CatchEndSignals();
  return entry(argc, argv);
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 2) {
    Complain("usage: vorlaunch JOB [ARG...]");
    return kUsage;
  }
  const std::string job = argv[1];
  try {
    return Launch(argc - 1, argv + 1);
  } catch (const std::exception& error) {
    Complain(job + ": " + error.what());
  } catch (...) {
    Complain(job + ": an unknown error");
  }
  return kFailed;
}
