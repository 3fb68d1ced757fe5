#include "panel/state.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <thread>

#include "panel/error.h"
#include "temp_dir.h"

namespace panel {
namespace {

class StateTest : public testing::Test {
 protected:
  std::filesystem::path File() const { return dir_ / "state.db"; }
  std::string OpenError(Database::Open open) const {
    try {
      State state(File(), open);
    } catch (const Error& error) {
      return error.what();
    }
    return "opened";
  }

  TempDir dir_;
};

TEST_F(StateTest, IsReadableByItsOwnerAlone) {
  State state(File(), Database::Open::kCreate);
  for (const auto& entry : std::filesystem::directory_iterator(dir_.path())) {
    struct stat status {};
    ASSERT_EQ(stat(entry.path().c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 07777, 0600U) << entry.path();
  }
}

TEST_F(StateTest, RefusesAFileThatOthersCanRead) {
  State(File(), Database::Open::kCreate);
  ASSERT_EQ(chmod(File().c_str(), 0640), 0);
  EXPECT_EQ(OpenError(Database::Open::kCreate),
            "state file " + File().string() + ": must belong to its user alone (mode 0600)");
}

TEST_F(StateTest, IsMadeOnlyWhereAsked) {
  EXPECT_EQ(OpenError(Database::Open::kExisting),
            "state file " + File().string() + ": No such file or directory");
  EXPECT_EQ(OpenError(Database::Open::kCreate), "opened");
  EXPECT_EQ(OpenError(Database::Open::kExisting), "opened");
}

TEST_F(StateTest, RefusesWhatIsNoStateOfAPanel) {
  WriteFile(File(), "no database at all, but long enough to be looked at");
  ASSERT_EQ(chmod(File().c_str(), 0600), 0);
  EXPECT_EQ(OpenError(Database::Open::kCreate),
            "state file " + File().string() + ": file is not a database");
  std::filesystem::remove(File());
  std::filesystem::create_directory(File());
  EXPECT_EQ(OpenError(Database::Open::kExisting),
            "state file " + File().string() + ": Is a directory");
}

TEST_F(StateTest, RefusesAnotherProgramsDatabase) {
  sqlite3* other = nullptr;
  ASSERT_EQ(sqlite3_open(File().c_str(), &other), SQLITE_OK);
  ASSERT_EQ(sqlite3_exec(other, "CREATE TABLE users(x)", nullptr, nullptr, nullptr), SQLITE_OK);
  sqlite3_close(other);
  ASSERT_EQ(chmod(File().c_str(), 0600), 0);
  EXPECT_EQ(OpenError(Database::Open::kCreate),
            "state file " + File().string() + ": a database of another program");
}

TEST_F(StateTest, NeverFollowsALink) {
  std::filesystem::create_symlink(dir_ / "elsewhere", File());
  EXPECT_EQ(OpenError(Database::Open::kCreate),
            "state file " + File().string() + ": Too many levels of symbolic links");
  EXPECT_FALSE(std::filesystem::exists(dir_ / "elsewhere"));
}

TEST_F(StateTest, KeepsUsersWithEveryText) {
  const std::string odd = "O'Neil \"x\"; DROP TABLE users; --\n\xd0\x96";
  {
    State state(File(), Database::Open::kCreate);
    state.users.Add("alice");
    User alice = state.users.Require("alice");
    for (auto& [field, value] : alice.fields) {
      value = field + odd;
    }
    state.users.SaveFields(alice);
    state.users.SetDisabled("alice", true);
  }
  State state(File(), Database::Open::kExisting);
  const User alice = state.users.Require("alice");
  EXPECT_TRUE(alice.disabled);
  for (const char* field : kUserFields) {
    EXPECT_EQ(alice.fields.at(field), field + odd);
  }
}

TEST_F(StateTest, TellsUsersApartByTheWholeName) {
  State state(File(), Database::Open::kCreate);
  state.users.Add("alice");
  EXPECT_FALSE(state.users.Find("Alice"));
  EXPECT_FALSE(state.users.Find("alice' OR '1'='1"));
  EXPECT_FALSE(state.users.Find("alic%"));
  EXPECT_THROW(state.users.Require("bob"), Error);
  EXPECT_THROW(state.users.Add("alice"), Error);
  state.users.Add("Alice");
  EXPECT_EQ(state.users.All().size(), 2U);
}

TEST_F(StateTest, FindsSessionsByTheirKeys) {
  State state(File(), Database::Open::kCreate);
  const std::string admin = state.sessions.Open({});
  const std::string alice = state.sessions.Open({"alice"});
  EXPECT_EQ(admin.size(), 64U);
  EXPECT_NE(admin, state.sessions.Open({}));
  EXPECT_TRUE(state.sessions.Find(admin)->administrator());
  EXPECT_EQ(state.sessions.Find(alice)->user, "alice");
  EXPECT_FALSE(state.sessions.Find(alice.substr(1)));
  EXPECT_FALSE(state.sessions.Find(""));
}

TEST_F(StateTest, KeepsNoKeyReadable) {
  std::string session;
  {
    State state(File(), Database::Open::kCreate);
    session = state.sessions.Open({});
    state.sessions.AddLoginKey("alice", "0123456789abcdef");
  }
  const std::string bytes = ReadFile(File());
  EXPECT_NE(bytes.find("alice"), std::string::npos);
  EXPECT_EQ(bytes.find(session), std::string::npos);
  EXPECT_EQ(bytes.find("0123456789abcdef"), std::string::npos);
}

TEST_F(StateTest, UsesALoginKeyOnceAndForItsUserAlone) {
  State state(File(), Database::Open::kCreate);
  state.sessions.AddLoginKey("alice", "0123456789abcdef");
  EXPECT_THROW(state.sessions.AddLoginKey("alice", "0123456789abcdef"), Error);
  EXPECT_FALSE(state.sessions.UseLoginKey("bob", "0123456789abcdef"));
  EXPECT_FALSE(state.sessions.UseLoginKey("alice", "0123456789abcdee"));
  EXPECT_TRUE(state.sessions.UseLoginKey("alice", "0123456789abcdef"));
  EXPECT_FALSE(state.sessions.UseLoginKey("alice", "0123456789abcdef"));
}

TEST_F(StateTest, KeepsProblemsInTheirOrderWithAllTheirBytes) {
  State state(File(), Database::Open::kCreate);
  state.problems.Add({"b 1", "", "error", "import", "files", "rsync:\n\x1b\xff", {{"value", "b"}}});
  state.problems.Add({"a 2", "", "error", "import", "db_dump", "", {}});
  const auto problems = state.problems.All();
  ASSERT_EQ(problems.size(), 2U);
  EXPECT_EQ(problems[0].info, "rsync:\n\x1b\xff");
  EXPECT_EQ(problems[0].params, (Fields{{"value", "b"}}));
  EXPECT_EQ(problems[0].time.size(), std::string("2026-01-01T00:00:00Z").size());
  EXPECT_EQ(problems[1].id, "a 2");
  EXPECT_TRUE(problems[1].params.empty());
}

TEST_F(StateTest, RefusesAProblemIdThatIsTakenAndKeepsTheFirst) {
  State state(File(), Database::Open::kCreate);
  state.problems.Add({"a 1", "", "error", "import", "files", "first", {{"value", "1"}}});
  EXPECT_THROW(
      state.problems.Add({"a 1", "", "error", "import", "files", "second", {{"other", "2"}}}),
      Error);
  const auto problems = state.problems.All();
  ASSERT_EQ(problems.size(), 1U);
  EXPECT_EQ(problems[0].info, "first");
  EXPECT_EQ(problems[0].params, (Fields{{"value", "1"}}));
}

TEST_F(StateTest, AStatementThatFailsIsAnError) {
  State state(File(), Database::Open::kCreate);
  EXPECT_THROW(Statement(state.database, "SELECT none FROM users"), Error);
  EXPECT_THROW(Statement(state.database, "SELECT 1", "too many values"), Error);
  EXPECT_THROW(Statement(state.database, "SELECT 1", true), Error);
  EXPECT_THROW(Statement(state.database, "INSERT INTO users(name) VALUES (NULL), (NULL)").Run(),
               Error);
  EXPECT_THROW(state.database.Exec("COMMIT"), Error);
}

TEST_F(StateTest, UndoesATransactionThatWasNotCommitted) {
  State state(File(), Database::Open::kCreate);
  {
    Transaction transaction(state.database);
    state.users.Add("alice");
  }
  EXPECT_FALSE(state.users.Find("alice"));
}

TEST_F(StateTest, LetsThreadsAndOtherOpenersWorkAtOnce) {
  constexpr int kEach = 50;
  State first(File(), Database::Open::kCreate);
  State second(File(), Database::Open::kExisting);
  const auto add = [](State& state, const std::string& prefix) {
    for (int i = 0; i < kEach; ++i) {
      state.users.Add(prefix + std::to_string(i));
    }
  };
  std::thread a(add, std::ref(first), "a");
  std::thread b(add, std::ref(first), "b");
  std::thread c(add, std::ref(second), "c");
  a.join();
  b.join();
  c.join();
  EXPECT_EQ(second.users.All().size(), 3U * kEach);
}

}  // namespace
}  // namespace panel
