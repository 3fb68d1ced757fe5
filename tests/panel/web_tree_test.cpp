#include "panel/web_tree.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>

#include "descriptor_limit.h"
#include "temp_dir.h"

namespace panel {
namespace {

namespace fs = std::filesystem;

constexpr const char* kOld = "AuthUserFile /old/bob/users\n";
constexpr const char* kNew = "AuthUserFile /new/bob/users\n";

struct stat Status(const fs::path& path) {
  struct stat status {};
  EXPECT_EQ(lstat(path.c_str(), &status), 0) << path;
  return status;
}

class WebTreeTest : public testing::Test {
 protected:
  WebTreeRepair Repair() { return RepairWebTree(Web(), {"/old/bob", "/new/bob", false}); }
  fs::path Web() const { return dir_ / "www"; }

  TempDir dir_;
};

TEST_F(WebTreeTest, RepairsEveryAccessFileOfTheTree) {
  WriteFile(Web() / ".htaccess", kOld);
  WriteFile(Web() / "a/b/.htaccess", kOld);
  WriteFile(Web() / "a/htaccess", kOld);
  WriteFile(Web() / "c/.htaccess", "Require all granted\n");
  const WebTreeRepair repair = Repair();
  EXPECT_EQ(repair.repaired, 2);
  EXPECT_TRUE(repair.failures.empty());
  EXPECT_EQ(ReadFile(Web() / ".htaccess"), kNew);
  EXPECT_EQ(ReadFile(Web() / "a/b/.htaccess"), kNew);
  EXPECT_EQ(ReadFile(Web() / "a/htaccess"), kOld);
  EXPECT_EQ(Repair().repaired, 0);
}

TEST_F(WebTreeTest, KeepsModeAndTimesAndLeavesNothingBeside) {
  const fs::path file = Web() / ".htaccess";
  WriteFile(file, kOld);
  ASSERT_EQ(chmod(file.c_str(), 0604), 0);
  const std::array<timespec, 2> times = {timespec{1000000000, 123456789},
                                         timespec{1100000000, 987654321}};
  ASSERT_EQ(utimensat(AT_FDCWD, file.c_str(), times.data(), 0), 0);
  ASSERT_EQ(Repair().repaired, 1);
  const struct stat status = Status(file);
  EXPECT_EQ(status.st_mode & 07777, 0604U);
  EXPECT_EQ(status.st_mtim.tv_sec, 1100000000);
  EXPECT_EQ(status.st_mtim.tv_nsec, 987654321);
  EXPECT_EQ(std::distance(fs::directory_iterator(Web()), {}), 1);
}

TEST_F(WebTreeTest, LeavesAFileThatNeedsNoRepairUntouched) {
  WriteFile(Web() / ".htaccess", "AuthUserFile /etc/users\n");
  const struct stat before = Status(Web() / ".htaccess");
  EXPECT_EQ(Repair().repaired, 0);
  EXPECT_EQ(Status(Web() / ".htaccess").st_ino, before.st_ino);
}

TEST_F(WebTreeTest, NeverFollowsLinks) {
  WriteFile(dir_ / "outside/.htaccess", kOld);
  fs::create_directories(Web() / "loop");
  fs::create_symlink(dir_ / "outside/.htaccess", Web() / ".htaccess");
  fs::create_directory_symlink(dir_ / "outside", Web() / "link");
  fs::create_directory_symlink("..", Web() / "loop/up");
  const WebTreeRepair repair = Repair();
  EXPECT_EQ(repair.repaired, 0);
  EXPECT_TRUE(repair.failures.empty());
  EXPECT_EQ(ReadFile(dir_ / "outside/.htaccess"), kOld);
}

TEST_F(WebTreeTest, RefusesATreeThatIsALink) {
  fs::create_directories(dir_ / "outside");
  fs::create_directory_symlink(dir_ / "outside", Web());
  ASSERT_EQ(Repair().failures.size(), 1U);
  EXPECT_EQ(Repair().failures[0], Web().string() + ": not a directory");
}

TEST_F(WebTreeTest, AMissingTreeNeedsNoRepair) {
  EXPECT_EQ(Repair().repaired, 0);
  EXPECT_TRUE(Repair().failures.empty());
}

TEST_F(WebTreeTest, OpensDirectoriesToTheirOwner) {
  WriteFile(Web() / "shut/in/.htaccess", kOld);
  ASSERT_EQ(chmod((Web() / "shut/in").c_str(), 02060), 0);
  ASSERT_EQ(chmod((Web() / "shut").c_str(), 0000), 0);
  ASSERT_EQ(chmod(Web().c_str(), 0400), 0);
  EXPECT_EQ(Repair().repaired, 3 + 1);
  EXPECT_EQ(Status(Web()).st_mode & 07777, 0500U);
  EXPECT_EQ(Status(Web() / "shut").st_mode & 07777, 0500U);
  EXPECT_EQ(Status(Web() / "shut/in").st_mode & 07777, 02560U);
}

TEST_F(WebTreeTest, PassesOverPipesAndDirectoriesOfThatName) {
  fs::create_directories(Web() / "a/.htaccess");
  ASSERT_EQ(mkfifo((Web() / ".htaccess").c_str(), 0600), 0);
  EXPECT_EQ(Repair().repaired, 0);
  EXPECT_TRUE(Repair().failures.empty());
}

TEST_F(WebTreeTest, LeavesFilesOfOthersAlone) {
  if (geteuid() != 0) {
    GTEST_SKIP() << "only root can give a file away";
  }
  WriteFile(Web() / ".htaccess", kOld);
  ASSERT_EQ(chown((Web() / ".htaccess").c_str(), 65534, 65534), 0);
  EXPECT_EQ(Repair().repaired, 0);
  EXPECT_EQ(ReadFile(Web() / ".htaccess"), kOld);
}

TEST_F(WebTreeTest, NamesAFileThatIsTooLargeAndGoesOn) {
  WriteFile(Web() / "big/.htaccess", "");
  fs::resize_file(Web() / "big/.htaccess", (16 << 20) + 1);
  WriteFile(Web() / "small/.htaccess", kOld);
  const WebTreeRepair repair = Repair();
  EXPECT_EQ(repair.repaired, 1);
  ASSERT_EQ(repair.failures.size(), 1U);
  EXPECT_EQ(repair.failures[0], (Web() / "big/.htaccess").string() + ": read: File too large");
}

TEST_F(WebTreeTest, WalksDeepTreesAndSaysSoWhereItCannot) {
  fs::path deep = Web();
  for (int i = 0; i < 100; ++i) {
    deep /= "d";
  }
  WriteFile(deep / ".htaccess", kOld);
  {
    const DescriptorLimit few(50);
    const WebTreeRepair repair = Repair();
    EXPECT_EQ(repair.repaired, 0);
    ASSERT_EQ(repair.failures.size(), 1U);
    EXPECT_EQ(repair.failures[0],
              Web().string() + ": the walk through it ended early: Too many open files");
  }
  EXPECT_EQ(Repair().repaired, 1);
}

}  // namespace
}  // namespace panel
