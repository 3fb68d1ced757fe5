#include <gtest/gtest.h>
#include <pthread.h>
#include <sys/stat.h>
#include <unistd.h>

#include <csignal>

#include "support/forked.h"
#include "support/scratch.h"
#include "trel/trel_proc.h"

namespace {

using support::Forked;
using support::HoldsWhenForked;
using support::ReadFile;
using support::WaitForEndOf;
using trel_proc::CatchEndSignals;
using trel_proc::Execute;
using Words = std::vector<std::string>;

constexpr int kAll = 134;
constexpr int kInOurGroup = 6;

void ExpectRefused() {
  Execute next(Words{"true"}, kAll);
  EXPECT_EQ(next.Result(), 127);
  EXPECT_EQ(next.Str(), "cannot run 'true': this job was told to end\n");
}

/// Some are ignored where the tests were started with nohup, or in the background of a shell.
void CatchAll() {
  for (const int signal : {SIGINT, SIGHUP}) std::signal(signal, SIG_DFL);
  CatchEndSignals();
}

class EndSignalsTest : public testing::Test {
 protected:
  EndSignalsTest() { EXPECT_EQ(mkfifo(pipe_.c_str(), 0600), 0); }

  /// A process that catches the signals, runs `command`, expects `status` of it, and expects that
  /// no further child is started. The command writes a process id into `pipe_` when it is ready.
  Forked Running(const std::string& command, int status, int options = kAll) const {
    return Forked([=] {
      CatchAll();
      EXPECT_EQ(Execute(command, options).Result(), status);
      ExpectRefused();
    });
  }
  /// Waits for the process id that the command writes.
  pid_t WaitForReady() const { return str::Int(ReadFile(pipe_)); }

  support::Scratch scratch_;
  std::string pipe_ = scratch_.Path("pipe");
};

TEST_F(EndSignalsTest, EndTheChildWithItsGroupAndKeepFurtherOnesFromStarting) {
  for (const int signal : {SIGTERM, SIGINT, SIGHUP}) {
    auto job = Running("sleep 1000 & echo $! > " + pipe_ + "; wait", 128 + SIGTERM);
    const pid_t sleeper = WaitForReady();
    ASSERT_GT(sleeper, 0);
    job.Signal(signal);
    EXPECT_TRUE(job.Holds()) << signal;
    EXPECT_TRUE(WaitForEndOf(sleeper)) << signal;
  }
}

TEST_F(EndSignalsTest, KillAChildThatDoesNotEndItself) {
  auto job = Running("trap '' TERM; echo $$ > " + pipe_ + "; exec sleep 1000", 128 + SIGKILL);
  ASSERT_GT(WaitForReady(), 0);
  job.Signal(SIGTERM);
  EXPECT_TRUE(job.Holds());
}

TEST_F(EndSignalsTest, KillAChildThatGoesOnWriting) {
  auto job = Running("trap '' TERM; echo $$ > " + pipe_ + "; exec yes", 128 + SIGKILL);
  ASSERT_GT(WaitForReady(), 0);
  job.Signal(SIGTERM);
  EXPECT_TRUE(job.Holds());
}

TEST_F(EndSignalsTest, KillWhatIsLeftOfTheGroup) {
  auto job = Running("sh -c 'trap \"\" TERM; echo $$ > " + pipe_ + "; exec sleep 1000' & wait",
                     128 + SIGTERM);
  const pid_t sleeper = WaitForReady();
  ASSERT_GT(sleeper, 0);
  job.Signal(SIGTERM);
  EXPECT_TRUE(job.Holds());
  EXPECT_TRUE(WaitForEndOf(sleeper));
}

TEST_F(EndSignalsTest, EndAChildThatClosedItsOutput) {
  auto job =
      Running("exec >/dev/null 2>&1; echo $$ > " + pipe_ + "; exec sleep 1000", 128 + SIGTERM);
  ASSERT_GT(WaitForReady(), 0);
  job.Signal(SIGTERM);
  EXPECT_TRUE(job.Holds());
}

TEST_F(EndSignalsTest, EndAChildInOurGroupAlone) {
  auto job = Running("echo $$ > " + pipe_ + "; exec sleep 1000", 128 + SIGTERM, kInOurGroup);
  ASSERT_GT(WaitForReady(), 0);
  job.Signal(SIGTERM);
  EXPECT_TRUE(job.Holds());
}

TEST_F(EndSignalsTest, LetAChildEndInItsOwnWay) {
  auto job = Running("trap 'exit 9' TERM; echo $$ > " + pipe_ + "; sleep 1000 & wait", 9);
  ASSERT_GT(WaitForReady(), 0);
  job.Signal(SIGTERM);
  EXPECT_TRUE(job.Holds());
}

TEST(EndSignals, KeepChildrenFromStartingWhenNoneRuns) {
  for (const int signal : {SIGTERM, SIGINT, SIGHUP}) {
    EXPECT_TRUE(HoldsWhenForked([=] {
      CatchAll();
      EXPECT_EQ(Execute(Words{"true"}, kAll).Result(), 0);
      raise(signal);
      ExpectRefused();
    }));
  }
}

TEST(EndSignals, ReachAChildThatHasNotStartedItsProgramYet) {
  EXPECT_TRUE(HoldsWhenForked([] {
    CatchEndSignals();
    pthread_atfork(nullptr, nullptr, [] { raise(SIGTERM); });
    EXPECT_EQ(Execute(Words{"true"}, kAll).Result(), 128 + SIGTERM);
  }));
}

TEST(EndSignals, StayIgnoredWhereTheyWere) {
  EXPECT_TRUE(HoldsWhenForked([] {
    std::signal(SIGHUP, SIG_IGN);
    CatchEndSignals();
    raise(SIGHUP);
    EXPECT_EQ(Execute(Words{"true"}, kAll).Result(), 0);
    raise(SIGTERM);
    ExpectRefused();
  }));
}

TEST(EndSignals, LetACallOfTheSystemGoOn) {
  EXPECT_TRUE(HoldsWhenForked([] {
    std::signal(SIGTERM, SIG_DFL);
    CatchEndSignals();
    struct sigaction caught {};
    sigaction(SIGTERM, nullptr, &caught);
    EXPECT_NE(caught.sa_flags & SA_RESTART, 0);
  }));
}

}  // namespace
