#include "trel/trel_file.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <csignal>
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
using trel_file::Attrs;

class FileTest : public testing::Test {
 protected:
  support::Scratch scratch_;
};

/// What an operation on `path` says when it fails for the reason `why`.
std::string Says(const std::string& operation, const std::string& path, const std::string& why) {
  return "file: " + operation + ": " + path + " (" + path + ": " + why + ")";
}

TEST_F(FileTest, ExistsFollowsLinks) {
  const auto file = scratch_.Write("file", "");
  EXPECT_TRUE(trel_file::Exists(file));
  EXPECT_TRUE(trel_file::Exists(scratch_.Dir()));
  EXPECT_TRUE(trel_file::Exists(scratch_.Link("link", file)));
  EXPECT_FALSE(trel_file::Exists(scratch_.Link("dangling", scratch_.Path("none"))));
  EXPECT_FALSE(trel_file::Exists(scratch_.Path("none")));
  EXPECT_FALSE(trel_file::Exists(""));
}

TEST_F(FileTest, ReadGivesEveryByte) {
  std::string text(3'000'000, 'x');
  text[0] = '\0';
  text += "\r\n";
  EXPECT_EQ(trel_file::Read(scratch_.Write("big", text)), text);
  EXPECT_EQ(trel_file::Read(scratch_.Write("empty", "")), "");
  EXPECT_EQ(trel_file::Read(scratch_.Link("link", scratch_.Path("big"))), text);
  EXPECT_FALSE(trel_file::Read("/proc/self/status").empty());
}

TEST_F(FileTest, ReadDrainsAPipe) {
  const auto pipe = scratch_.Path("pipe");
  ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
  support::Forked writer([&] {
    const int fd = open(pipe.c_str(), O_WRONLY);
    for (int i = 0; i < 100'000; ++i) ASSERT_EQ(write(fd, "line\n", 5), 5);
    close(fd);
  });
  EXPECT_EQ(trel_file::Read(pipe).size(), 500'000U);
  EXPECT_TRUE(writer.Holds());
}

TEST_F(FileTest, ReadTakesNoLinkAndNoPipeThatOthersMayHavePut) {
  REQUIRE_ROOT();
  const auto file = scratch_.Write("file", "ours");
  fs::create_directory(scratch_.Path("theirs"));
  const auto plain = scratch_.Write("theirs/plain", "text");
  const auto link = scratch_.Link("theirs/link", file);
  const auto pipe = scratch_.Path("theirs/pipe");
  ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
  EXPECT_EQ(trel_file::Read(link), "ours");  // nobody but us could have put it
  constexpr uid_t kNobody = 65534;
  for (const auto& [owner, mode] :
       {std::pair(kNobody, 0700U), std::pair(uid_t(0), 0777U), std::pair(uid_t(0), 01777U)}) {
    ASSERT_EQ(chown(scratch_.Path("theirs").c_str(), owner, owner), 0);
    ASSERT_EQ(chmod(scratch_.Path("theirs").c_str(), mode), 0);
    EXPECT_EQ(trel_file::Read(plain), "text");
    EXPECT_EQ(ErrorOf([&] { trel_file::Read(link); }),
              Says("read", link, "Too many levels of symbolic links"));
    EXPECT_EQ(ErrorOf([&] { trel_file::Read(pipe); }), Says("read", pipe, "Invalid argument"));
  }
}

TEST_F(FileTest, ReadAndWriteGoOnWhenInterrupted) {
  const auto pipe = scratch_.Path("pipe");
  ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
  const std::string text(3'000'000, 'x');
  support::Forked reader([&] {
    const int fd = open(pipe.c_str(), O_RDWR);
    support::InterruptOften();
    std::string got;
    char piece[100];
    while (got.size() < text.size()) {
      const auto size = read(fd, piece, sizeof piece);
      if (size > 0) got.append(piece, static_cast<std::size_t>(size));
    }
    EXPECT_EQ(got, text);
  });
  support::Forked writer([&] {
    const int fd = open(pipe.c_str(), O_WRONLY);
    support::InterruptOften();
    trel_file::Write(pipe, text);
    close(fd);
  });
  EXPECT_TRUE(writer.Holds());
  EXPECT_TRUE(reader.Holds());
}

TEST_F(FileTest, ReadNamesWhatItCannotRead) {
  const auto none = scratch_.Path("none");
  EXPECT_EQ(ErrorOf([&] { trel_file::Read(none); }),
            Says("read", none, "No such file or directory"));
  EXPECT_EQ(ErrorOf([&] { trel_file::Read(scratch_.Dir()); }),
            Says("read", scratch_.Dir(), "Is a directory"));
}

TEST_F(FileTest, ReadNeedsTheRightToRead) {
  REQUIRE_ROOT();
  const auto file = scratch_.Write("secret", "x");
  fs::permissions(scratch_.Dir(), fs::perms(0755));
  EXPECT_TRUE(HoldsWhenForked([&] {
    support::BecomeNobody();
    EXPECT_EQ(ErrorOf([&] { trel_file::Read(file); }), Says("read", file, "Permission denied"));
  }));
}

TEST_F(FileTest, WriteMakesAFileForItsOwnerAlone) {
  const auto file = scratch_.Path("new");
  trel_file::Write(file, "text");
  EXPECT_EQ(ReadFile(file), "text");
  EXPECT_EQ(ModeOf(file), 0600U);
}

TEST_F(FileTest, WriteReplacesTheContentsAndKeepsTheMode) {
  const auto file = scratch_.Write("old", "a longer text", 0644);
  trel_file::Write(file, std::string("b\0c", 3));
  EXPECT_EQ(ReadFile(file), std::string("b\0c", 3));
  EXPECT_EQ(ModeOf(file), 0644U);
}

TEST_F(FileTest, WriteFollowsNoLink) {
  const auto target = scratch_.Write("target", "kept");
  for (const auto& link :
       {scratch_.Link("link", target), scratch_.Link("dangling", scratch_.Path("none"))}) {
    EXPECT_EQ(ErrorOf([&] { trel_file::Write(link, "x"); }),
              Says("write", link, "Too many levels of symbolic links"));
  }
  EXPECT_EQ(ReadFile(target), "kept");
  EXPECT_FALSE(trel_file::Exists(scratch_.Path("none")));
}

TEST_F(FileTest, WriteNamesWhatItCannotWrite) {
  const auto lost = scratch_.Path("none/file");
  EXPECT_EQ(ErrorOf([&] { trel_file::Write(lost, "x"); }),
            Says("write", lost, "No such file or directory"));
  EXPECT_EQ(ErrorOf([&] { trel_file::Write(scratch_.Dir(), "x"); }),
            Says("write", scratch_.Dir(), "Is a directory"));
  EXPECT_EQ(ErrorOf([] { trel_file::Write("/dev/full", "x"); }),
            Says("write", "/dev/full", "No space left on device"));
}

TEST_F(FileTest, WriteNoticesThatTheRestDoesNotFit) {
  const auto file = scratch_.Path("limited");
  EXPECT_TRUE(HoldsWhenForked([&] {
    std::signal(SIGXFSZ, SIG_IGN);
    const rlimit limit{1000, 1000};
    setrlimit(RLIMIT_FSIZE, &limit);
    EXPECT_EQ(ErrorOf([&] { trel_file::Write(file, std::string(5000, 'x')); }),
              Says("write", file, "File too large"));
  }));
}

TEST(ConcatPath, PutsExactlyOneSlashBetween) {
  const std::vector<std::array<std::string, 3>> rows{
      {"a", "b", "a/b"},
      {"a/", "b", "a/b"},
      {"a", "/b", "a/b"},
      {"a//", "//b", "a/b"},
      {"/", "b", "/b"},
      {"//", "b", "/b"},
      {"", "b", "b"},
      {"", "/b", "/b"},
      {"a", "", "a/"},
      {"a/", "", "a/"},
      {"a", "/", "a/"},
      {"", "", ""},
      {"/a/b", "c/d", "/a/b/c/d"},
      {".", "x", "./x"},
      {"a", "b/", "a/b/"},
  };
  for (const auto& [dir, name, path] : rows) {
    EXPECT_EQ(trel_file::ConcatPath(dir, name), path) << "'" << dir << "' '" << name << "'";
  }
}

TEST(SplitPath, PartsTheLastComponent) {
  const std::vector<std::array<std::string, 3>> rows{
      {"a/b/c", "a/b", "c"}, {"c", "", "c"}, {"/c", "/", "c"}, {"/a/b", "/a", "b"},
      {"a/", "a", ""},       {"", "", ""},   {"/", "/", ""},   {"./x", ".", "x"},
  };
  for (const auto& [path, dir, name] : rows) {
    EXPECT_EQ(trel_file::SplitPath(path), std::make_pair(dir, name)) << path;
    if (!name.empty()) {
      EXPECT_EQ(trel_file::ConcatPath(dir, name), path);
    }
  }
}

TEST_F(FileTest, RemoveFileTakesAFileOrALinkAway) {
  const auto file = scratch_.Write("file", "");
  const auto link = scratch_.Link("link", file);
  trel_file::RemoveFile(link);
  EXPECT_EQ(scratch_.Names(), (std::vector<std::string>{"file"}));
  trel_file::RemoveFile(file);
  trel_file::RemoveFile(file);
  EXPECT_TRUE(scratch_.Names().empty());
}

TEST_F(FileTest, RemoveFileNamesWhatItCannotRemove) {
  EXPECT_EQ(ErrorOf([&] { trel_file::RemoveFile(scratch_.Dir()); }),
            Says("remove", scratch_.Dir(), "Is a directory"));
}

TEST_F(FileTest, SafeSetGivesAFileOrADirectoryItsMode) {
  const auto file = scratch_.Write("file", "");
  Attrs(0640).SafeSet(file, false);
  EXPECT_EQ(ModeOf(file), 0640U);
  Attrs(0000).SafeSet(file, false);
  Attrs(04711).SafeSet(file, false);
  EXPECT_EQ(ModeOf(file), 04711U);
  Attrs(0750).SafeSet(scratch_.Dir(), false);
  EXPECT_EQ(ModeOf(scratch_.Dir()), 0750U);
  EXPECT_EQ(ModeOf(file), 04711U);
}

TEST_F(FileTest, SafeSetFollowsNoLink) {
  const auto target = scratch_.Write("target", "");
  const auto link = scratch_.Link("link", target);
  for (const bool recursive : {false, true}) {
    EXPECT_EQ(ErrorOf([&] { Attrs(0777).SafeSet(link, recursive); }),
              Says("chmod", link, "Too many levels of symbolic links"));
  }
  EXPECT_EQ(ModeOf(target), 0600U);
}

TEST_F(FileTest, SafeSetNamesWhatItCannotSet) {
  const auto none = scratch_.Path("none");
  EXPECT_EQ(ErrorOf([&] { Attrs(0600).SafeSet(none, false); }),
            Says("chmod", none, "No such file or directory"));
  const auto pipe = scratch_.Path("pipe");
  ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
  EXPECT_EQ(ErrorOf([&] { Attrs(0644).SafeSet(pipe, false); }),
            Says("chmod", pipe, "Invalid argument"));
}

TEST_F(FileTest, SafeSetReachesEverythingBelowWhenRecursive) {
  support::Scratch outside;
  const auto target = outside.Write("target", "");
  fs::create_directories(scratch_.Path("a/b/c"));
  const auto file = scratch_.Write("a/b/file", "");
  scratch_.Link("a/b/link", target);
  const auto pipe = scratch_.Path("a/pipe");
  ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
  Attrs(0700).SafeSet(scratch_.Path("a"), true);
  for (const auto& path : {scratch_.Path("a"), scratch_.Path("a/b/c"), file, pipe}) {
    EXPECT_EQ(ModeOf(path), 0700U) << path;
  }
  EXPECT_EQ(ModeOf(target), 0600U);
}

TEST_F(FileTest, SafeSetTakesARightAwayFromBelowFirst) {
  REQUIRE_ROOT();
  fs::permissions(scratch_.Dir(), fs::perms(0777));
  EXPECT_TRUE(HoldsWhenForked([&] {
    support::BecomeNobody();
    const auto dir = scratch_.Path("a");
    fs::create_directories(dir + "/b");
    Attrs(0400).SafeSet(dir, true);
    EXPECT_EQ(ModeOf(dir), 0400U);
    Attrs(0700).SafeSet(dir, false);
    EXPECT_EQ(ModeOf(dir + "/b"), 0400U);
    EXPECT_EQ(ErrorOf([&] { Attrs(0700).SafeSet("/etc/passwd", false); }),
              Says("chmod", "/etc/passwd", "Operation not permitted"));
    EXPECT_EQ(ErrorOf([&] { Attrs(0700).SafeSet(dir + "/b/c", false); }),
              Says("chmod", dir + "/b/c", "Permission denied"));
    fs::permissions(dir + "/b", fs::perms(0000));
    EXPECT_EQ(ErrorOf([&] { Attrs(0700).SafeSet(dir, true); }),
              Says("chmod", dir + "/b", "Permission denied"));
    fs::permissions(dir, fs::perms(0400));  // its entries may be listed and not be looked at
    EXPECT_EQ(ErrorOf([&] { Attrs(0700).SafeSet(dir, true); }),
              Says("chmod", dir + "/b", "Permission denied"));
  }));
}

}  // namespace
