#include "panel/access_file.h"

#include <gtest/gtest.h>

#include "temp_dir.h"

namespace panel {
namespace {

const HomeMove kMove{"/old/bob", "/new/bob", false};

TEST(HomeMoveTest, MovesWhatLiesBelowTheRemoteHome) {
  EXPECT_EQ(kMove.NewPath("/old/bob/etc/users"), "/new/bob/etc/users");
  EXPECT_EQ(kMove.NewPath("/old//bob/./etc/../users"), "/new/bob/users");
}

TEST(HomeMoveTest, ComparesWholeComponents) {
  EXPECT_FALSE(kMove.NewPath("/old/bob2/users"));
  EXPECT_FALSE(kMove.NewPath("/old/bo"));
  EXPECT_FALSE(kMove.NewPath("/other/old/bob/users"));
}

TEST(HomeMoveTest, LeavesAloneWhatOnlyPassesThroughTheRemoteHome) {
  EXPECT_FALSE(kMove.NewPath("/old/bob/../eve/users"));
  EXPECT_FALSE(kMove.NewPath("/old/bob/.."));
}

TEST(HomeMoveTest, LeavesTheHomeItselfAndRelativePathsAlone) {
  EXPECT_FALSE(kMove.NewPath("/old/bob"));
  EXPECT_FALSE(kMove.NewPath("/old/bob/"));
  EXPECT_FALSE(kMove.NewPath("old/bob/users"));
  EXPECT_FALSE(kMove.NewPath(""));
}

TEST(HomeMoveTest, TakesTheHomesWithOrWithoutASlashAtTheEnd) {
  const HomeMove move{"/old/bob/", "/new/bob/", false};
  EXPECT_EQ(move.NewPath("/old/bob/users"), "/new/bob/users");
  EXPECT_FALSE(move.NewPath("/old/bob2/users"));
}

TEST(HomeMoveTest, AFileOfThisHostStaysUnlessItIsToBeOverwritten) {
  const TempDir old_home;
  const std::string users = old_home / "users";
  WriteFile(users, "bob:x\n");
  EXPECT_FALSE((HomeMove{old_home.path(), "/new", false}.NewPath(users)));
  EXPECT_EQ((HomeMove{old_home.path(), "/new", true}.NewPath(users)), "/new/users");
  EXPECT_EQ((HomeMove{old_home.path(), "/new", false}.NewPath(users + "2")), "/new/users2");
}

TEST(AccessFileTest, MovesBothDirectivesAndNothingElse) {
  EXPECT_EQ(MoveAccessFile("# AuthUserFile /old/bob/a\n"
                           "AuthType Basic\r\n"
                           "AuthUserFile /old/bob/a\r\n"
                           "  authgroupfile\t/old/bob/b  \n"
                           "AuthUserFileX /old/bob/c\n"
                           "ErrorDocument 401 /old/bob/d\n"
                           "AuthUserFile /etc/users",
                           kMove),
            "# AuthUserFile /old/bob/a\n"
            "AuthType Basic\r\n"
            "AuthUserFile /new/bob/a\r\n"
            "  authgroupfile\t/new/bob/b  \n"
            "AuthUserFileX /old/bob/c\n"
            "ErrorDocument 401 /old/bob/d\n"
            "AuthUserFile /etc/users");
}

TEST(AccessFileTest, ReadsAndWritesQuotedPaths) {
  EXPECT_EQ(MoveAccessFile("AuthUserFile \"/old/bob/my users\" \n", kMove),
            "AuthUserFile \"/new/bob/my users\" \n");
  EXPECT_EQ(MoveAccessFile("AuthUserFile '/old/bob/x'\n", kMove), "AuthUserFile \"/new/bob/x\"\n");
  EXPECT_EQ(MoveAccessFile(R"(AuthUserFile "/old/bob/a\"b\\c")", kMove),
            R"(AuthUserFile "/new/bob/a\"b\\c")");
  EXPECT_EQ(MoveAccessFile("AuthUserFile /old/bob/x\n", {"/old/bob", "/new home/bob", false}),
            "AuthUserFile \"/new home/bob/x\"\n");
}

TEST(AccessFileTest, LeavesLinesThatItCannotReadAlone) {
  for (const char* line : {"AuthUserFile", "AuthUserFile ", "AuthUserFile \"/old/bob/x",
                           "AuthUserFile\n/old/bob/x", "", "\n", "   "}) {
    EXPECT_EQ(MoveAccessFile(line, kMove), line);
  }
}

TEST(AccessFileTest, ReadsLongLinesInLinearTime) {
  const std::string filler(8 << 20, 'x');
  EXPECT_EQ(MoveAccessFile(filler + "\nAuthUserFile /old/bob/" + filler, kMove),
            filler + "\nAuthUserFile /new/bob/" + filler);
}

}  // namespace
}  // namespace panel
