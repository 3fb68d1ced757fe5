#include "support/forked.h"

#include <grp.h>
#include <poll.h>
#include <sys/syscall.h>
#include <sys/time.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <exception>
#include <filesystem>
#include <iterator>
#include <stdexcept>

/// Present in a build that measures coverage.
extern "C" void __gcov_dump() __attribute__((weak));

namespace support {
namespace {

[[noreturn]] void Perform(const std::function<void()>& body) {
  try {
    body();
  } catch (const std::exception& error) {
    ADD_FAILURE() << "throws " << error.what();
  }
  std::fflush(nullptr);
  if (__gcov_dump != nullptr) __gcov_dump();
  _exit(testing::Test::HasFailure() ? 1 : 0);
}

std::ptrdiff_t Threads() {
  return std::distance(std::filesystem::directory_iterator("/proc/self/task"), {});
}

}  // namespace

Forked::Forked(const std::function<void()>& body) {
  if (Threads() > 1) throw std::logic_error("a process with threads is not to be forked");
  std::fflush(nullptr);
  pid_ = fork();
  if (pid_ == 0) Perform(body);
}

Forked::~Forked() {
  if (waited_) return;
  Signal(SIGKILL);
  waitpid(pid_, nullptr, 0);
}

void Forked::Signal(int signal) const {
  kill(pid_, signal);
}

bool Forked::Holds() {
  int status = 0;
  waited_ = waitpid(pid_, &status, 0) == pid_;
  return waited_ && status == 0;
}

bool HoldsWhenForked(const std::function<void()>& body) {
  return Forked(body).Holds();
}

void BecomeNobody() {
  constexpr uid_t kNobody = 65534;
  if (setgroups(0, nullptr) != 0 || setresgid(kNobody, kNobody, kNobody) != 0 ||
      setresuid(kNobody, kNobody, kNobody) != 0) {
    std::perror("become nobody");
    _exit(1);
  }
}

void InterruptOften() {
  struct sigaction action {};
  action.sa_handler = [](int) {};
  sigaction(SIGALRM, &action, nullptr);
  const itimerval often{{0, 1000}, {0, 1000}};
  setitimer(ITIMER_REAL, &often, nullptr);
}

bool WaitForEndOf(pid_t pid) {
  const int watch = static_cast<int>(syscall(SYS_pidfd_open, pid, 0));
  if (watch < 0) return true;
  pollfd event{watch, POLLIN, 0};
  const bool ended = poll(&event, 1, 10'000) == 1;
  close(watch);
  return ended;
}

}  // namespace support
