#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>

#include "support/forked.h"
#include "support/scratch.h"
#include "support/seam.h"
#include "trel/trel_file.h"

namespace {

namespace fs = std::filesystem;
using support::ErrorOf;
using support::HoldsWhenForked;
using support::ModeOf;
using support::ReadFile;
using trel_file::Tmp;

class TmpTest : public testing::Test {
 protected:
  support::Scratch scratch_;
};

TEST_F(TmpTest, MakesAFreshFileForItsOwnerAloneAndRemovesIt) {
  std::string path;
  {
    const Tmp file(scratch_.Path("dump"));
    path = file.Path();
    EXPECT_EQ(path.rfind(scratch_.Path("dump"), 0), 0U);
    EXPECT_EQ(ModeOf(path), 0600U);
    EXPECT_EQ(ReadFile(path), "");
    const Tmp other(scratch_.Path("dump"));
    EXPECT_NE(other.Path(), path);
  }
  EXPECT_TRUE(scratch_.Names().empty());
}

TEST_F(TmpTest, StaysWhenItIsKept) {
  std::string path;
  {
    Tmp file(scratch_.Path("dump"));
    path = file.Path();
    file.Keep();
  }
  EXPECT_TRUE(trel_file::Exists(path));
}

TEST_F(TmpTest, DrawsAgainWhenTheNameIsTaken) {
  const support::SeamKeeper keeper;
  const auto host = std::make_shared<support::ScriptedHost>();
  trel_seam::Current().host = host;
  host->random = "AAAAAAAABBBBBBBBCCCCCCCC";
  const auto taken = scratch_.Write("dump.4141414141414141", "kept");
  const auto link = scratch_.Link("dump.4242424242424242", scratch_.Path("none"));
  const Tmp file(scratch_.Path("dump"));
  EXPECT_EQ(file.Path(), scratch_.Path("dump.4343434343434343"));
  EXPECT_EQ(ReadFile(taken), "kept");
  EXPECT_FALSE(trel_file::Exists(scratch_.Path("none")));
}

TEST_F(TmpTest, NamesWhatItCannotMake) {
  const auto error = ErrorOf([&] { Tmp(scratch_.Path("none/dump")); });
  EXPECT_EQ(error.rfind("file: create: " + scratch_.Path("none/dump."), 0), 0U) << error;
  EXPECT_THAT(error, testing::EndsWith(": No such file or directory)"));
}

TEST_F(TmpTest, TakesExactlyTheNameThatItIsGiven) {
  const auto path = scratch_.Path("dump");
  {
    const Tmp file(path, Tmp::kExactName);
    EXPECT_EQ(file.Path(), path);
    EXPECT_EQ(ModeOf(path), 0600U);
    EXPECT_EQ(scratch_.Names(), std::vector<std::string>{"dump"});
  }
  EXPECT_TRUE(scratch_.Names().empty());
}

TEST_F(TmpTest, ReplacesAFileOfItsExactName) {
  const auto path = scratch_.Write("dump", "old", 0644);
  fs::create_hard_link(path, scratch_.Path("other"));
  const Tmp file(path, Tmp::kExactName);
  EXPECT_EQ(ReadFile(path), "");
  EXPECT_EQ(ModeOf(path), 0600U);
  EXPECT_EQ(ReadFile(scratch_.Path("other")), "old");
}

TEST_F(TmpTest, ReplacesALinkOfItsExactName) {
  const auto target = scratch_.Write("target", "kept");
  {
    const Tmp file(scratch_.Link("dump", target), Tmp::kExactName);
    EXPECT_FALSE(fs::is_symlink(file.Path()));
    EXPECT_EQ(ReadFile(file.Path()), "");
  }
  EXPECT_EQ(ReadFile(target), "kept");
}

TEST_F(TmpTest, NamesWhatItCannotReplace) {
  const auto path = scratch_.Path("dump");
  fs::create_directory(path);
  EXPECT_EQ(ErrorOf([&] { const Tmp file(path, Tmp::kExactName); }),
            "file: replace: " + path + " (" + path + ": Is a directory)");
  EXPECT_TRUE(fs::is_directory(path));
}

TEST_F(TmpTest, NamesAnExactNameThatItCannotMake) {
  const auto path = scratch_.Path("none/dump");
  EXPECT_EQ(ErrorOf([&] { const Tmp file(path, Tmp::kExactName); }),
            "file: create: " + path + " (" + path + ": No such file or directory)");
}

/// The way to a file: which links on it are followed, and what no way may hold.
class WayTest : public TmpTest {
 protected:
  WayTest() {
    fs::permissions(scratch_.Dir(), fs::perms(0755));
    fs::create_directory(scratch_.Path("real"));
    fs::create_directory(scratch_.Path("open"));
    fs::create_directory_symlink(scratch_.Path("real"), scratch_.Path("open/link"));
    fs::permissions(scratch_.Path("real"), fs::perms(0777));
  }
  /// Whether the link in the directory "open" of that mode and owner is followed.
  bool Follows(unsigned mode, uid_t owner) const {
    EXPECT_EQ(chown(scratch_.Path("open").c_str(), owner, 0), 0);
    fs::permissions(scratch_.Path("open"), fs::perms(mode));
    return Makes(scratch_.Path("open/link/dump"));
  }
  /// Whether a file can be made there; it is gone again.
  static bool Makes(const std::string& path) {
    try {
      const Tmp file(path, Tmp::kExactName);
      return trel_file::Exists(path);
    } catch (const trel_err::Error& error) {
      EXPECT_EQ(error.object(), "create");
      return false;
    }
  }
};

constexpr uid_t kNobody = 65534;

TEST_F(WayTest, FollowsLinksThatRootAloneCanHaveMade) {
  REQUIRE_ROOT();
  EXPECT_TRUE(Follows(0755, 0));
  EXPECT_FALSE(Follows(0775, 0));
  EXPECT_FALSE(Follows(0757, 0));
  EXPECT_FALSE(Follows(01777, 0));
  EXPECT_FALSE(Follows(01775, 0));
  EXPECT_FALSE(Follows(0755, kNobody));
}

TEST_F(WayTest, FollowsLinksThatRootOrWeCanHaveMade) {
  REQUIRE_ROOT();
  EXPECT_EQ(chown(scratch_.Path("open").c_str(), kNobody, 0), 0);
  EXPECT_TRUE(HoldsWhenForked([&] {
    support::BecomeNobody();
    EXPECT_TRUE(Makes(scratch_.Path("open/link/dump")));
  }));
  EXPECT_EQ(chown(scratch_.Path("open").c_str(), 0, 0), 0);
  EXPECT_TRUE(HoldsWhenForked([&] {
    support::BecomeNobody();
    EXPECT_TRUE(Makes(scratch_.Path("open/link/dump")));
  }));
  EXPECT_EQ(chown(scratch_.Path("open").c_str(), 1, 0), 0);
  EXPECT_TRUE(HoldsWhenForked([&] {
    support::BecomeNobody();
    EXPECT_FALSE(Makes(scratch_.Path("open/link/dump")));
  }));
}

TEST_F(WayTest, PassesOverEmptyPartsAndPoints) {
  EXPECT_TRUE(Makes(scratch_.Path("real//./dump")));
  EXPECT_TRUE(HoldsWhenForked([&] {
    ASSERT_EQ(chdir(scratch_.Dir().c_str()), 0);
    for (const auto& path : {"dump", "./dump", "real/dump"}) EXPECT_TRUE(Makes(path)) << path;
  }));
}

TEST_F(WayTest, NeverLeadsUpwards) {
  for (const std::string name : {"real/../dump", "real/..", "real/.", "real/"}) {
    const auto path = scratch_.Path(name);
    errno = 0;
    EXPECT_EQ(ErrorOf([&] { const Tmp file(path, Tmp::kExactName); }),
              "file: create: " + path + " (" + path + ": Invalid argument)");
  }
}

}  // namespace
