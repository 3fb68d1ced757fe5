#include "trel/trel_log.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>

#include "support/forked.h"
#include "support/scratch.h"
#include "support/seam.h"

namespace {

namespace fs = std::filesystem;
using support::ErrorOf;
using support::HoldsWhenForked;
using support::ModeOf;
using support::ReadFile;
using testing::MatchesRegex;

const trel_log::Module kModule("unit", "vortrel");

/// The configuration holds for the life of a process, so each test logs in one of its own.
class LogTest : public testing::Test {
 protected:
  bool HoldsWithDir(const std::string& dir, const std::function<void()>& body) const {
    const auto conf = scratch_.Write("trel.toml", "log.dir = '" + dir + "'\n", 0644);
    return HoldsWhenForked([&] {
      setenv("TREL_CONF", conf.c_str(), 1);
      body();
    });
  }
  bool Holds(const std::function<void()>& body) const { return HoldsWithDir(dir_, body); }

  support::Scratch scratch_;
  std::string dir_ = scratch_.Path("log");
  std::string file_ = scratch_.Path("log/job.log");
};

TEST_F(LogTest, ALineHasTimeProcessLevelModuleAndMessage) {
  EXPECT_TRUE(Holds([&] {
    trel_log::Init("job", 5);
    kModule.Write(4, "%s %d", "moved", 7);
    const auto pid = std::to_string(getpid());
    EXPECT_THAT(ReadFile(file_),
                MatchesRegex("[0-9]{4}-[0-9]{2}-[0-9]{2}T[0-9]{2}:[0-9]{2}:[0-9]{2}\\.[0-9]{6} " +
                             pid + " 4 unit moved 7\n"));
  }));
}

TEST_F(LogTest, ALineFeedGoesOnInALineThatBeginsWithATab) {
  EXPECT_TRUE(Holds([&] {
    trel_log::Init("job", 5);
    kModule.Write(1, "%s", "one\n2026-11-20T18:02:01.123456 1 1 unit forged\n\nthree");
    EXPECT_THAT(ReadFile(file_),
                MatchesRegex("[^\n]* 1 unit one\n\t2026[^\n]* forged\n\t\n\tthree\n"));
  }));
}

TEST_F(LogTest, ALongMessageIsWhole) {
  EXPECT_TRUE(Holds([&] {
    trel_log::Init("job", 5);
    const std::string text(1'000'000, 'x');
    kModule.Write(1, "%s|", text.c_str());
    EXPECT_THAT(ReadFile(file_), testing::EndsWith(" 1 unit " + text + "|\n"));
  }));
}

TEST_F(LogTest, AMessageOfAnyLengthIsWhole) {
  EXPECT_TRUE(Holds([&] {
    trel_log::Init("job", 5);
    for (const int length : {0, 1, 8190, 8191, 8192, 8193}) {
      fs::resize_file(file_, 0);
      kModule.Write(1, "%*s", length, "");
      EXPECT_THAT(ReadFile(file_), testing::EndsWith(" 1 unit " + std::string(length, ' ') + "\n"));
    }
  }));
}

TEST_F(LogTest, LinesAreAppendedToWhatIsThere) {
  fs::create_directory(dir_);
  scratch_.Write("log/job.log", "before\n");
  EXPECT_TRUE(Holds([&] {
    trel_log::Init("job", 5);
    kModule.Write(1, "after");
    EXPECT_THAT(ReadFile(file_), MatchesRegex("before\n[^\n]* after\n"));
  }));
}

TEST_F(LogTest, TheFileIsItsOwnersAloneAlsoWhenItWasThere) {
  EXPECT_TRUE(Holds([] { trel_log::Init("job", 5); }));
  EXPECT_EQ(ModeOf(file_), 0600U);
  fs::permissions(file_, fs::perms(0644));
  EXPECT_TRUE(Holds([] { trel_log::Init("job", 5); }));
  EXPECT_EQ(ModeOf(file_), 0600U);
}

TEST_F(LogTest, AMissingDirectoryIsMadeForItsOwnerAlone) {
  const auto dir = scratch_.Path("a/b");
  EXPECT_TRUE(HoldsWithDir(dir, [] { trel_log::Init("job", 5); }));
  EXPECT_EQ(ModeOf(dir), 0700U);
  fs::permissions(dir, fs::perms(0750));
  EXPECT_TRUE(HoldsWithDir(dir, [] { trel_log::Init("job", 5); }));
  EXPECT_EQ(ModeOf(dir), 0750U);
}

TEST_F(LogTest, ADirectoryThatCannotBeMadeIsAnError) {
  const auto dir = scratch_.Write("file", "") + "/log";
  EXPECT_TRUE(HoldsWithDir(dir, [&] {
    EXPECT_EQ(ErrorOf([] { trel_log::Init("job", 5); }),
              "log: open: " + dir + " (the log '" + dir + "': Not a directory)");
    EXPECT_FALSE(kModule.Check(0));
  }));
}

TEST_F(LogTest, ADirectoryThatCannotBeWrittenIsAnError) {
  REQUIRE_ROOT();
  fs::permissions(scratch_.Dir(), fs::perms(0755));
  fs::create_directory(dir_);
  EXPECT_TRUE(Holds([&] {
    support::BecomeNobody();
    EXPECT_EQ(ErrorOf([] { trel_log::Init("job", 5); }),
              "log: open: " + file_ + " (the log '" + file_ + "': Permission denied)");
  }));
}

TEST_F(LogTest, ALinkInPlaceOfTheFileIsRefused) {
  fs::create_directory(dir_);
  const auto target = scratch_.Write("target", "kept", 0644);
  fs::create_symlink(target, file_);
  EXPECT_TRUE(Holds([&] {
    EXPECT_EQ(
        ErrorOf([] { trel_log::Init("job", 5); }),
        "log: open: " + file_ + " (the log '" + file_ + "': Too many levels of symbolic links)");
  }));
  EXPECT_EQ(ReadFile(target), "kept");
  EXPECT_EQ(ModeOf(target), 0644U);
}

TEST_F(LogTest, APipeInPlaceOfTheFileIsNotWaitedFor) {
  fs::create_directory(dir_);
  ASSERT_EQ(mkfifo(file_.c_str(), 0600), 0);
  EXPECT_TRUE(
      Holds([] { EXPECT_NE(ErrorOf([] { trel_log::Init("job", 5); }), "nothing thrown"); }));
}

TEST_F(LogTest, ABadConfigurationIsAnError) {
  EXPECT_TRUE(HoldsWithDir("relative", [] {
    EXPECT_THAT(ErrorOf([] { trel_log::Init("job", 5); }), testing::StartsWith("conf: read: "));
  }));
}

TEST_F(LogTest, NothingIsWrittenBeforeInit) {
  EXPECT_TRUE(Holds([&] {
    EXPECT_FALSE(kModule.Check(0));
    EXPECT_FALSE(kModule.Check(1));
    kModule.Write(1, "lost");
    trel_log::Init("job", 5);
    EXPECT_EQ(ReadFile(file_), "");
  }));
}

TEST_F(LogTest, TheLevelDecidesWhatGoesThrough) {
  EXPECT_TRUE(Holds([&] {
    trel_log::Init("job", 5);
    for (const int level : {0, 1, 5}) EXPECT_TRUE(kModule.Check(level)) << level;
    for (const int level : {6, 9}) EXPECT_FALSE(kModule.Check(level)) << level;
    kModule.Write(9, "asked for all the same");
    EXPECT_THAT(ReadFile(file_), testing::HasSubstr(" 9 unit asked for all the same\n"));
  }));
}

TEST_F(LogTest, InitAgainReplacesNameAndLevel) {
  EXPECT_TRUE(Holds([&] {
    trel_log::Init("first", 9);
    kModule.Write(1, "one");
    trel_log::Init("second", 3);
    kModule.Write(1, "two");
    EXPECT_FALSE(kModule.Check(4));
    EXPECT_THAT(ReadFile(scratch_.Path("log/first.log")), testing::EndsWith("one\n"));
    EXPECT_THAT(ReadFile(scratch_.Path("log/second.log")), testing::EndsWith("two\n"));
  }));
}

TEST_F(LogTest, AFullDiskEndsNoJobAndSaysNothing) {
  EXPECT_TRUE(Holds([&] {
    trel_log::Init("job", 5);
    // The log's own descriptor, found by the file that it leads to, becomes a full disk.
    for (int fd = 3; fd < 100; ++fd) {
      std::error_code none;
      const auto target = fs::read_symlink("/proc/self/fd/" + std::to_string(fd), none);
      if (target == file_) dup2(open("/dev/full", O_WRONLY), fd);
    }
    const auto errors = scratch_.Path("errors");
    ASSERT_NE(freopen(errors.c_str(), "w", stderr), nullptr);
    for (int i = 0; i < 3; ++i) kModule.Write(1, "lost");
    fflush(stderr);
    EXPECT_EQ(ReadFile(errors), "");
    EXPECT_EQ(ReadFile(file_), "");
  }));
}

TEST_F(LogTest, AScriptedLogTakesTheLinesInstead) {
  const support::SeamKeeper keeper;
  const auto log = std::make_shared<support::KeptLog>();
  trel_seam::Current().log = log;
  kModule.Write(2, "%s", "a\nb");
  EXPECT_EQ(log->lines, (std::vector<std::string>{"2 unit a\nb"}));
}

}  // namespace
