#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>

#include "support/forked.h"
#include "support/scratch.h"
#include "support/seam.h"
#include "trel/trel_file.h"

namespace {

namespace fs = std::filesystem;
using testing::UnorderedElementsAre;

class DirTest : public testing::Test {
 protected:
  std::vector<std::string> Names() const {
    std::vector<std::string> names;
    trel_file::Dir dir(scratch_.Dir());
    while (dir.Read()) names.push_back(dir.name());
    return names;
  }

  support::Scratch scratch_;
};

TEST_F(DirTest, HasEveryEntryButItselfAndItsParent) {
  EXPECT_THAT(Names(), testing::IsEmpty());
  for (const auto& name : {"a", ".b", "...", "..c"}) scratch_.Write(name, "");
  fs::create_directory(scratch_.Path("d"));
  EXPECT_THAT(Names(), UnorderedElementsAre("a", ".b", "...", "..c", "d"));
}

TEST_F(DirTest, TellsDirectoriesFromLinksToThem) {
  fs::create_directory(scratch_.Path("elsewhere"));
  fs::create_directory_symlink("elsewhere", scratch_.Path("link"));
  scratch_.Write("file", "");
  std::map<std::string, std::pair<bool, bool>> kinds;
  trel_file::Dir dir(scratch_.Dir());
  while (dir.Read()) kinds[dir.name()] = {dir.Info(false).IsDir(), dir.Info(true).IsDir()};
  EXPECT_THAT(kinds, UnorderedElementsAre(testing::Pair("elsewhere", testing::Pair(true, true)),
                                          testing::Pair("link", testing::Pair(false, true)),
                                          testing::Pair("file", testing::Pair(false, false))));
}

TEST_F(DirTest, MustBeThere) {
  const auto path = scratch_.Path("none");
  EXPECT_EQ(support::ErrorOf([&] { const trel_file::Dir dir(path); }),
            "file: list: " + path + " (" + path + ": No such file or directory)");
}

TEST(Info, IsNoDirectoryForWhatIsNotThere) {
  EXPECT_FALSE(trel_file::Info("/none/at/all", 0).IsDir());
  EXPECT_FALSE(trel_file::Info("/none/at/all", 2).IsDir());
}

TEST(Info, RefusesOptionsWithUnknownBits) {
  for (const int options : {1, 3, 4, -1}) {
    EXPECT_THAT(support::ErrorOf([&] { trel_file::Info("/", options); }),
                testing::MatchesRegex("assert: trel/file_dir:[0-9]+ trel_file::Info::Info: options "
                                      "with unknown bits"));
  }
}

/// Where the program "tool" is found when the process's PATH is `path`.
std::string FoundIn(const std::string& path) {
  const std::string before = std::getenv("PATH");
  setenv("PATH", path.c_str(), 1);
  const auto found = trel_file::GetFullPath("tool");
  setenv("PATH", before.c_str(), 1);
  return found;
}

TEST_F(DirTest, IsSearchedForAProgramInTheOrderOfThePath) {
  for (const auto& name : {"a", "b", "c"}) fs::create_directory(scratch_.Path(name));
  const auto path = scratch_.Path("a") + ":" + scratch_.Path("b") + ":" + scratch_.Path("c");
  EXPECT_EQ(FoundIn(path), "");
  const auto last = scratch_.Write("c/tool", "", 0700);
  EXPECT_EQ(FoundIn(path), last);
  scratch_.Write("a/tool", "no program", 0600);
  EXPECT_EQ(FoundIn(path), last);
  const auto middle = scratch_.Write("b/tool", "", 0700);
  EXPECT_EQ(FoundIn(path), middle);
  EXPECT_EQ(FoundIn(""), "");
}

TEST(GetFullPath, LooksInTheSystemsFoldersWithoutAPath) {
  EXPECT_TRUE(support::HoldsWhenForked([] {
    unsetenv("PATH");
    EXPECT_EQ(trel_file::GetFullPath("sh"), "/usr/bin/sh");
    EXPECT_EQ(trel_file::GetFullPath("no-such-program"), "");
  }));
}

}  // namespace
