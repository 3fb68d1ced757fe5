#include "trel/trel_proc.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>

#include "support/forked.h"
#include "support/scratch.h"
#include "support/seam.h"

namespace {

namespace fs = std::filesystem;
using support::HoldsWhenForked;
using support::ReadFile;
using testing::EndsWith;
using trel_proc::Escape;
using trel_proc::Execute;
using Words = std::vector<std::string>;

constexpr int kOutput = Execute::kCaptureOutput;
constexpr int kErrors = Execute::kCaptureErrors;
constexpr int kAll = kOutput | kErrors | Execute::kProcessGroup;

std::string OutputOf(const std::string& command) {
  return Execute(command, kAll).Str();
}

long CountDescriptors() {
  return std::distance(fs::directory_iterator("/proc/self/fd"), fs::directory_iterator());
}

TEST(Escape, MakesOneWordForAShell) {
  EXPECT_EQ(Escape(""), "");
  EXPECT_EQ(Escape("plain"), "'plain'");
  EXPECT_EQ(Escape("it's"), "'it'\\''s'");
  for (const std::string word : {"a b", "'", "''", "$HOME", "`id`", "a\nb", "\\", "\"", "*", "-n",
                                 "; rm -rf x", "\xC3\xA4"}) {
    EXPECT_EQ(OutputOf("printf %s " + Escape(word)), word);
  }
}

TEST(Execute, KeepsOutputAndErrorsAsTheOptionsSay) {
  const std::string command = "echo a; echo b >&2; echo c";
  EXPECT_EQ(Execute(command, kOutput | kErrors).Str(), "a\nb\nc\n");
  EXPECT_EQ(Execute(command, kOutput).Str(), "a\nc\n");
  EXPECT_EQ(Execute(command, kErrors).Str(), "b\n");
  EXPECT_EQ(Execute(command, 0).Str(), "");
  EXPECT_EQ(Execute(command, 0).Result(), 0);
}

TEST(Execute, RefusesAnOptionWordWithUnknownBits) {
  for (const int options : {1, 8, 64, 256, kAll | 1}) {
    EXPECT_THAT(support::ErrorOf([&] { Execute("true", options); }),
                testing::MatchesRegex("assert: trel/proc:[0-9]+ trel_proc::Execute::Execute: an "
                                      "option word with unknown bits"));
  }
}

TEST(Execute, KeepsOutputThatComesByteByByte) {
  // Starting a program takes long enough for each byte to be read alone.
  EXPECT_EQ(OutputOf("for i in 1 2 3 4 5 6 7 8 9; do printf $i; /bin/true; done"), "123456789");
}

TEST(Execute, GivesTheExitStatus) {
  for (const int status : {0, 1, 7, 127, 255}) {
    Execute child("exit " + std::to_string(status), kAll);
    EXPECT_EQ(child.Result(), status);
    EXPECT_EQ(child.Str(), "");
  }
}

TEST(Execute, PassesArgumentsOnAsTheyAre) {
  EXPECT_EQ(Execute(Words{"printf", "%s|", "a b", "", "$x", "'"}, kAll).Str(), "a b||$x|'|");
}

TEST(Execute, RunsOnce) {
  const support::Scratch scratch;
  Execute child("echo run >> " + scratch.Path("runs"), kAll);
  child.Str();
  child.Result();
  child.Str();
  EXPECT_EQ(ReadFile(scratch.Path("runs")), "run\n");
}

TEST(Execute, TellsASignalFromAStatus) {
  Execute killed("printf half; kill -KILL $$", kAll);
  EXPECT_EQ(killed.Result(), 128 + SIGKILL);
  EXPECT_EQ(killed.Str(), "half\nended by signal KILL\n");
  Execute terminated("echo line; kill -TERM $$", 0);
  EXPECT_EQ(terminated.Result(), 128 + SIGTERM);
  EXPECT_EQ(terminated.Str(), "ended by signal TERM\n");
  Execute real_time("kill -40 $$", kAll);
  EXPECT_EQ(real_time.Result(), 128 + 40);
  EXPECT_EQ(real_time.Str(), "ended by signal 40\n");
}

/// A child that cannot be started has the status 127 and says why.
void ExpectNotStarted(Execute child, const std::string& program, const std::string& why) {
  EXPECT_EQ(child.Result(), 127);
  EXPECT_EQ(child.Str(), "cannot run '" + program + "': " + why + "\n");
}

TEST(Execute, NamesTheStepThatKeepsAChildFromStarting) {
  ExpectNotStarted(Execute(Words{"no-such-program"}, kAll), "no-such-program",
                   "exec: No such file or directory");
  ExpectNotStarted(Execute(Words{"/etc/passwd"}, kAll), "/etc/passwd", "exec: Permission denied");
  ExpectNotStarted(Execute(Words{"true"}, kAll).SetDir("/no/such"), "true",
                   "chdir: No such file or directory");
  ExpectNotStarted(Execute(Words{"true"}, 0).SetUser("no-such-user"), "true",
                   "there is no user 'no-such-user'");
  ExpectNotStarted(Execute(Words{"printf", std::string(3'000'000, 'x')}, kAll), "printf",
                   "exec: Argument list too long");
}

TEST(Execute, NamesTheStepThatLacksDescriptors) {
  EXPECT_TRUE(HoldsWhenForked([] {
    std::set<std::string> steps;
    const int lowest = dup(0);
    close(lowest);
    // One descriptor is what looking up our own account takes.
    for (int free = 1; free < 20; ++free) {
      const rlimit limit{static_cast<rlim_t>(lowest + free), 100};
      setrlimit(RLIMIT_NOFILE, &limit);
      Execute child(Words{"true"}, kAll);
      const auto text = child.Str();
      EXPECT_EQ(child.Result(), text.empty() ? 0 : 127) << text;
      steps.insert(text);
    }
    const std::string begin = "cannot run 'true': ";
    const std::string end = ": Too many open files\n";
    EXPECT_THAT(steps, testing::IsSupersetOf({std::string(), begin + "pipe" + end,
                                              begin + "watch" + end, begin + "redirect" + end}));
  }));
}

TEST(Execute, ReadsNothingFromOurInput) {
  EXPECT_EQ(OutputOf("cat; readlink /proc/self/fd/0"), "/dev/null\n");
}

TEST(Execute, GivesTheThreeStandardDescriptorsAlone) {
  const int extra = open("/dev/null", O_RDONLY);
  const int high = fcntl(extra, F_DUPFD, 200);
  EXPECT_EQ(OutputOf("ls /proc/$$/fd; true"), "0\n1\n2\n");
  close(extra);
  close(high);
}

TEST(Execute, WorksWithoutStandardDescriptorsOfOurOwn) {
  EXPECT_TRUE(HoldsWhenForked([] {
    for (const int fd : {0, 1, 2}) close(fd);
    EXPECT_EQ(OutputOf("cat; echo a; echo b >&2; ls /proc/$$/fd"), "a\nb\n0\n1\n2\n");
    EXPECT_EQ(Execute("echo a; echo b >&2", kOutput).Str(), "a\n");
    EXPECT_EQ(Execute(Words{"no-such-program"}, kAll).Result(), 127);
  }));
}

TEST(Execute, ResetsSignals) {
  EXPECT_TRUE(HoldsWhenForked([] {
    for (int signal = 1; signal < NSIG; ++signal) {
      if (signal != SIGCHLD) std::signal(signal, SIG_IGN);
    }
    sigset_t blocked;
    sigemptyset(&blocked);
    sigaddset(&blocked, SIGUSR2);
    sigprocmask(SIG_BLOCK, &blocked, nullptr);
    const auto status = Execute(Words{"cat", "/proc/self/status"}, kAll).Str();
    for (const std::string set : {"SigPnd", "SigBlk", "SigIgn", "SigCgt"}) {
      EXPECT_THAT(status, testing::HasSubstr("\n" + set + ":\t0000000000000000\n"));
    }
    sigset_t after;
    sigprocmask(SIG_BLOCK, nullptr, &after);
    EXPECT_TRUE(sigismember(&after, SIGUSR2));
    EXPECT_FALSE(sigismember(&after, SIGTERM));
  }));
}

TEST(Execute, StartsInTheRootDirectoryOrWhereItIsTold) {
  const support::Scratch scratch;
  EXPECT_EQ(OutputOf("pwd"), "/\n");
  EXPECT_EQ(Execute("pwd", kAll).SetDir(scratch.Dir()).Str(), scratch.Dir() + "\n");
}

TEST(Execute, GivesACleanUmask) {
  EXPECT_TRUE(HoldsWhenForked([] {
    umask(0);
    EXPECT_EQ(OutputOf("umask"), "0022\n");
  }));
}

TEST(Execute, LooksProgramsUpInTheChildsPath) {
  const support::Scratch scratch;
  scratch.Write("own-program", "#!/bin/sh\necho \"own $1\"\n", 0755);
  EXPECT_EQ(Execute(Words{"own-program", "x"}, kAll).SetEnv("PATH", scratch.Dir()).Str(),
            "own x\n");
  EXPECT_TRUE(HoldsWhenForked([&] {
    setenv("PATH", scratch.Dir().c_str(), 1);
    EXPECT_EQ(Execute(Words{"true"}, kAll).Result(), 0);
    EXPECT_EQ(Execute(Words{"own-program"}, kAll).Result(), 127);
  }));
}

TEST(Execute, CutsALongOutputAndCountsTheRest) {
  constexpr std::size_t kLimit = 16 << 20;
  Execute child("head -c 17825792 /dev/zero", kAll);
  const auto text = child.Str();
  EXPECT_EQ(child.Result(), 0);
  ASSERT_GT(text.size(), kLimit);
  EXPECT_EQ(text.substr(kLimit), "\n[1048576 more bytes]\n");
  const auto killed = OutputOf("head -c 16777217 /dev/zero; kill -KILL $$");
  EXPECT_EQ(killed.substr(kLimit), "\nended by signal KILL\n[1 more bytes]\n");
  EXPECT_EQ(OutputOf("head -c 16777216 /dev/zero").size(), kLimit);
}

TEST(Execute, DoesNotWaitForWhatHoldsTheOutputInTheBackground) {
  Execute child("sleep 1000 & echo $!", kAll);
  const pid_t sleeper = str::Int(child.Str());
  EXPECT_EQ(child.Result(), 0);
  ASSERT_GT(sleeper, 0);
  EXPECT_EQ(kill(sleeper, SIGKILL), 0) << "it was waited for";
}

TEST(Execute, DoesNotWaitForWhatWritesInTheBackground) {
  Execute child("yes & echo end", kAll);
  EXPECT_THAT(child.Str(), testing::HasSubstr("end\n"));
  EXPECT_EQ(child.Result(), 0);
}

TEST(Execute, KeepsWhatIsWrittenJustAfterTheEnd) {
  // Written in the background once the shell is a zombie: it has ended, and was not waited for.
  EXPECT_EQ(OutputOf("(while read -r pid name state rest </proc/$$/stat && [ $state != Z ]; do :;"
                     " done; echo late) & exit 0"),
            "late\n");
}

TEST(Execute, WaitsForAChildThatClosedItsOutput) {
  Execute child("exec >/dev/null 2>&1; read -r line < /proc/self/stat; exit 5", kAll);
  EXPECT_EQ(child.Result(), 5);
}

TEST(Execute, LeavesNeitherDescriptorsNorZombies) {
  EXPECT_TRUE(HoldsWhenForked([] {
    const auto before = CountDescriptors();
    for (int i = 0; i < 1000; ++i) {
      Execute child(Words{i % 10 == 0 ? "no-such-program" : "/bin/true"}, kAll);
      ASSERT_EQ(child.Result(), i % 10 == 0 ? 127 : 0) << child.Str();
    }
    EXPECT_EQ(CountDescriptors(), before);
    EXPECT_EQ(waitpid(-1, nullptr, WNOHANG), -1);
    EXPECT_EQ(errno, ECHILD);
  }));
}

/// The process group of a child, and its process id.
std::pair<pid_t, pid_t> GroupOfChild(int options) {
  std::string stat = Execute(Words{"cat", "/proc/self/stat"}, options).Str();
  const pid_t pid = str::Int(str::GetWord(stat));
  for (int i = 0; i < 3; ++i) str::GetWord(stat);
  return {str::Int(str::GetWord(stat)), pid};
}

TEST(Execute, GivesAGroupOfItsOwnWhenAskedTo) {
  const auto [own, leader] = GroupOfChild(kAll);
  EXPECT_EQ(own, leader);
  const auto [ours, pid] = GroupOfChild(kOutput);
  EXPECT_NE(ours, pid);
}

TEST(Execute, IsNotDisturbedByOurSignals) {
  EXPECT_TRUE(HoldsWhenForked([] {
    support::InterruptOften();
    Execute child("head -c 3000000 /dev/zero; exec >/dev/null 2>&1; exit 3", kAll);
    EXPECT_EQ(child.Str().size(), 3'000'000U);
    EXPECT_EQ(child.Result(), 3);
  }));
}

TEST(Execute, TakesNoLostStatusForASuccess) {
  EXPECT_TRUE(HoldsWhenForked([] {
    std::signal(SIGCHLD, SIG_IGN);
    Execute child("echo x; exit 3", kAll);
    EXPECT_EQ(child.Result(), 127);
    // A child that is quick enough is gone before it can be watched.
    EXPECT_THAT(child.Str(), testing::AnyOf("x\nwait: No child processes\n",
                                            "cannot run '/bin/sh': watch: No such process\n"));
  }));
}

TEST(Execute, EndsTheChildWhenItsParentIsKilled) {
  const support::Scratch scratch;
  const auto pipe = scratch.Path("pipe");
  ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
  support::Forked parent(
      [&] { Execute("echo $$ > " + pipe + "; exec sleep 1000", kAll).Result(); });
  const pid_t child = str::Int(ReadFile(pipe));
  ASSERT_GT(child, 0);
  parent.Signal(SIGKILL);
  EXPECT_FALSE(parent.Holds());
  EXPECT_TRUE(support::WaitForEndOf(child));
}

}  // namespace
