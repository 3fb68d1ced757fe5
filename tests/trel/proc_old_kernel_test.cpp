// Children on a system that has no descriptor for a process, as Linux before 5.3 has none.

#include <gtest/gtest.h>
#include <linux/audit.h>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <cstddef>
#include <string>
#include <vector>

#include "support/forked.h"
#include "trel/trel_proc.h"

namespace {

using trel_proc::Execute;

constexpr int kAll = Execute::kCaptureOutput | Execute::kCaptureErrors | Execute::kProcessGroup;

/// From here on the system call fails with `error`, in this process and its children.
void LosePidfd(unsigned error) {
  std::array<sock_filter, 4> program{{
      BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr)),
      BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, SYS_pidfd_open, 0, 1),
      BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ERRNO | error),
      BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW),
  }};
  const sock_fprog filter{program.size(), program.data()};
  ASSERT_EQ(prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0), 0);
  ASSERT_EQ(prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &filter), 0);
  ASSERT_EQ(syscall(SYS_pidfd_open, getpid(), 0), -1);
}

TEST(ExecuteOnAnOldKernel, FollowsAChildToItsEnd) {
  EXPECT_TRUE(support::HoldsWhenForked([] {
    LosePidfd(ENOSYS);
    // Starting programs takes long enough for the end to come after that of the output.
    Execute child("echo a; exec >&- 2>&-; for i in 1 2 3 4 5 6 7; do /bin/true; done; exit 7",
                  kAll);
    EXPECT_EQ(child.Str(), "a\n");
    EXPECT_EQ(child.Result(), 7);
    EXPECT_EQ(Execute("kill -KILL $$", kAll).Result(), 128 + SIGKILL);
  }));
}

TEST(ExecuteOnAnOldKernel, HearsAChildThatIsLongSilent) {
  EXPECT_TRUE(support::HoldsWhenForked([] {
    LosePidfd(ENOSYS);
    EXPECT_EQ(Execute("sleep 1.5; echo late", kAll).Str(), "late\n");
  }));
}

TEST(ExecuteOnAnOldKernel, DoesNotWaitForWhatHoldsTheOutputInTheBackground) {
  EXPECT_TRUE(support::HoldsWhenForked([] {
    LosePidfd(ENOSYS);
    EXPECT_EQ(Execute("sleep 60 & echo a", kAll).Str(), "a\n");
  }));
}

TEST(ExecuteOnAnOldKernel, TakesNoLostStatusForASuccess) {
  EXPECT_TRUE(support::HoldsWhenForked([] {
    LosePidfd(ENOSYS);
    signal(SIGCHLD, SIG_IGN);
    EXPECT_NE(Execute("true", kAll).Result(), 0);
  }));
}

TEST(ExecuteOnAnOldKernel, NamesTheStepWhereTheSystemForbidsIt) {
  EXPECT_TRUE(support::HoldsWhenForked([] {
    LosePidfd(EPERM);
    Execute child(std::vector<std::string>{"true"}, kAll);
    EXPECT_EQ(child.Str(), "cannot run 'true': watch: Operation not permitted\n");
  }));
}

}  // namespace
