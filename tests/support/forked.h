#pragma once

#include <gtest/gtest.h>
#include <sys/types.h>

#include <cstdlib>
#include <functional>

/// Leaves a test that only root can run; where CI is set it fails instead.
#define REQUIRE_ROOT()                                                  \
  if (geteuid() != 0) {                                                 \
    if (std::getenv("CI") != nullptr) FAIL() << "needs to run as root"; \
    GTEST_SKIP() << "needs to run as root";                             \
  }

namespace support {

/// A process that runs `body`, for what a test can only do to a process of its own: drop rights,
/// lower limits, change signals, be killed. Killed at the end of its holder if it is still there.
/// Throws std::logic_error where threads run: what one of them holds at that moment, a lock of the
/// allocator say, would stay locked in the new process for ever.
class Forked {
 public:
  explicit Forked(const std::function<void()>& body);
  ~Forked();
  Forked(const Forked&) = delete;
  Forked& operator=(const Forked&) = delete;

  pid_t pid() const { return pid_; }
  void Signal(int signal) const;
  /// Waits for its end. True when `body` came to its end with every expectation met.
  bool Holds();

 private:
  pid_t pid_;
  bool waited_ = false;
};

/// True when `body` meets every expectation in a process of its own.
bool HoldsWhenForked(const std::function<void()>& body);

/// Becomes the account "nobody", for good.
void BecomeNobody();

/// Has a signal interrupt this process a thousand times a second from now on: every call of the
/// system that waits sees EINTR.
void InterruptOften();

/// Waits for the end of any process, ten seconds long. True when it has ended.
bool WaitForEndOf(pid_t pid);

}  // namespace support
