#include <gtest/gtest.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/resource.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>

#include "support/forked.h"
#include "support/scratch.h"
#include "trel/trel_proc.h"

namespace {

using support::HoldsWhenForked;
using trel_proc::Execute;
using Words = std::vector<std::string>;

constexpr int kAll = 134;

/// Puts `text` in the place of `file` for this process and its children alone.
void Cover(const std::string& file, const std::string& text, const support::Scratch& scratch) {
  const auto other =
      scratch.Write("cover-" + std::filesystem::path(file).filename().string(), text, 0644);
  ASSERT_EQ(mount(other.c_str(), file.c_str(), nullptr, MS_BIND, nullptr), 0);
}

/// Where /etc/group holds `groups`, a child of bob's has those of `expected` and no right of ours.
void ExpectGroupsOfBob(const std::string& groups, const std::string& expected) {
  const support::Scratch scratch;
  EXPECT_TRUE(HoldsWhenForked([&] {
    ASSERT_EQ(unshare(CLONE_NEWNS), 0);
    ASSERT_EQ(mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr), 0);
    Cover("/etc/passwd", "root:x:0:0::/root:/bin/bash\nbob:x:4711:4712::/home/bob:/bin/dash\n",
          scratch);
    Cover("/etc/group", groups, scratch);
    Execute child(Words{"grep", "-E", "^(Uid|Gid|Groups|CapPrm)", "/proc/self/status"}, kAll);
    EXPECT_EQ(child.SetUser("bob").Str(),
              "Uid:\t4711\t4711\t4711\t4711\nGid:\t4712\t4712\t4712\t4712\nGroups:\t" + expected +
                  "\nCapPrm:\t0000000000000000\n");
  }));
}

TEST(ExecuteAsUser, TakesTheUsersGroupsAndNothingOfOurs) {
  REQUIRE_ROOT();
  std::string groups = "root:x:0:\nbob:x:4712:\nmail:x:4713:bob\n";
  std::string expected = "4712 4713 ";
  for (int i = 0; i < 40; ++i) {
    groups += "g" + std::to_string(i) + ":x:" + std::to_string(5000 + i) + ":bob,root\n";
    expected += std::to_string(5000 + i) + " ";
  }
  ExpectGroupsOfBob(groups, expected);
}

TEST(ExecuteAsUser, AddsNoGroupToTheOnlyOneOfAUser) {
  REQUIRE_ROOT();
  ExpectGroupsOfBob("root:x:0:\nbob:x:4712:\n", "4712 ");
}

TEST(ExecuteAsUser, GivesACleanEnvironment) {
  REQUIRE_ROOT();
  EXPECT_TRUE(HoldsWhenForked([] {
    setenv("LD_PRELOAD_SECRET", "hunter2", 1);
    setenv("IFS", "x", 1);
    const std::string common =
        "PATH=/usr/local/sbin:/usr/local/bin:/usr/sbin:/usr/bin:/sbin:/bin\n";
    EXPECT_EQ(Execute(Words{"env"}, kAll).SetUser("nobody").Str(),
              "HOME=/nonexistent\nLANG=C.UTF-8\nLOGNAME=nobody\n" + common +
                  "SHELL=/usr/sbin/nologin\nUSER=nobody\n");
    EXPECT_EQ(Execute(Words{"env"}, kAll).SetEnv("SSHPASS", "a b").SetEnv("HOME", "/x").Str(),
              "HOME=/x\nLANG=C.UTF-8\nLOGNAME=root\n" + common +
                  "SHELL=/bin/bash\nSSHPASS=a b\nUSER=root\n");
  }));
}

TEST(ExecuteAsUser, EntersADirectoryWithTheUsersRights) {
  REQUIRE_ROOT();
  const support::Scratch scratch;
  Execute child(Words{"true"}, kAll);
  child.SetUser("nobody").SetDir(scratch.Dir());
  EXPECT_EQ(child.Result(), 127);
  EXPECT_EQ(child.Str(), "cannot run 'true': chdir: Permission denied\n");
}

TEST(ExecuteAsUser, NeedsTheRightToBecomeSomebodyElse) {
  REQUIRE_ROOT();
  EXPECT_TRUE(HoldsWhenForked([] {
    support::BecomeNobody();
    Execute child(Words{"true"}, kAll);
    EXPECT_EQ(child.SetUser("root").Str(),
              "cannot run 'true': set user: Operation not permitted\n");
    EXPECT_EQ(Execute(Words{"id", "-u"}, kAll).Str(), "65534\n");
  }));
}

TEST(ExecuteAsUser, NamesAUidWithoutAnAccount) {
  REQUIRE_ROOT();
  EXPECT_TRUE(HoldsWhenForked([] {
    ASSERT_EQ(setresuid(54321, 54321, 54321), 0);
    EXPECT_EQ(Execute(Words{"true"}, kAll).Str(), "cannot run 'true': there is no user 54321\n");
  }));
}

TEST(ExecuteAsUser, NamesAForkThatIsRefused) {
  REQUIRE_ROOT();
  EXPECT_TRUE(HoldsWhenForked([] {
    support::BecomeNobody();
    const rlimit none{0, 0};
    setrlimit(RLIMIT_NPROC, &none);
    Execute child(Words{"true"}, kAll);
    EXPECT_EQ(child.Result(), 127);
    EXPECT_EQ(child.Str(), "cannot run 'true': fork: Resource temporarily unavailable\n");
  }));
}

}  // namespace
