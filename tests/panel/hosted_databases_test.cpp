#include "panel/hosted_databases.h"

#include <gtest/gtest.h>

#include "panel/error.h"
#include "panel/state.h"
#include "temp_dir.h"

namespace panel {
namespace {

class HostedDatabasesTest : public testing::Test {
 protected:
  HostedDatabasesTest() {
    state_.users.Add("alice");
    state_.users.Add("bob");
    hosted_.AddDatabase({{"mysql", "shop"}, "alice"});
    hosted_.AddDatabase({{"pgsql", "shop"}, "bob"});
    hosted_.AddUser({{"mysql", "app"}, "alice"});
    hosted_.Attach({"mysql", "shop"}, "app");
  }

  TempDir dir_;
  State state_{dir_.path() / "state.db", Database::Open::kCreate};
  HostedDatabases& hosted_ = state_.hosted;
};

TEST_F(HostedDatabasesTest, NamesAreUniqueWithinAServer) {
  EXPECT_THROW(hosted_.AddDatabase({{"mysql", "shop"}, "bob"}), Error);
  EXPECT_THROW(hosted_.AddUser({{"mysql", "app"}, "bob"}), Error);
  hosted_.AddUser({{"pgsql", "app"}, "bob"});
  EXPECT_EQ(hosted_.FindDatabase({"mysql", "shop"})->owner, "alice");
  EXPECT_EQ(hosted_.FindDatabase({"pgsql", "shop"})->owner, "bob");
  EXPECT_EQ(hosted_.FindUser({"pgsql", "app"})->owner, "bob");
  EXPECT_FALSE(hosted_.FindDatabase({"pgsql", "app"}));
}

TEST_F(HostedDatabasesTest, AreListedByOwner) {
  EXPECT_EQ(hosted_.Databases("").size(), 2U);
  ASSERT_EQ(hosted_.Databases("bob").size(), 1U);
  EXPECT_EQ(hosted_.Databases("bob")[0].id, (HostedName{"pgsql", "shop"}));
  EXPECT_TRUE(hosted_.Databases("carol").empty());
}

TEST_F(HostedDatabasesTest, AreForgottenWithTheirUse) {
  hosted_.Attach({"mysql", "shop"}, "app");
  EXPECT_EQ(hosted_.UsersOf({"mysql", "shop"}), std::vector<std::string>{"app"});
  hosted_.RemoveDatabase({"mysql", "shop"});
  EXPECT_FALSE(hosted_.FindDatabase({"mysql", "shop"}));
  hosted_.AddDatabase({{"mysql", "shop"}, "alice"});
  EXPECT_TRUE(hosted_.UsersOf({"mysql", "shop"}).empty());
  hosted_.Attach({"mysql", "shop"}, "app");
  hosted_.RemoveUser({"mysql", "app"});
  EXPECT_TRUE(hosted_.UsersOf({"mysql", "shop"}).empty());
}

TEST_F(HostedDatabasesTest, NeedWhatTheyBelongTo) {
  EXPECT_THROW(hosted_.AddDatabase({{"none", "x"}, "alice"}), Error);
  EXPECT_THROW(hosted_.AddDatabase({{"mysql", "x"}, "nobody"}), Error);
  EXPECT_THROW(hosted_.Attach({"mysql", "shop"}, "nobody"), Error);
  EXPECT_THROW(hosted_.RequireServer("none"), Error);
}

TEST_F(HostedDatabasesTest, KeepHostsOfUsers) {
  EXPECT_TRUE(hosted_.HostsOf({"mysql", "app"}).empty());
  hosted_.SetHosts({"mysql", "app"}, {"10.0.0.1", "%"});
  EXPECT_EQ(hosted_.HostsOf({"mysql", "app"}), (dbserver::Hosts{"10.0.0.1", "%"}));
  EXPECT_TRUE(hosted_.HostsOf({"mysql", "none"}).empty());
}

}  // namespace
}  // namespace panel
