#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>

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

}  // namespace
