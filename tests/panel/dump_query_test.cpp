#include "panel/dump_query.h"

#include <gtest/gtest.h>

#include "panel/error.h"

namespace panel {
namespace {

constexpr Role kSource4{.side = Side::kSource, .generation = Generation::k4};
constexpr Role kSource5{.side = Side::kSource, .generation = Generation::k5};

const std::vector<Hosted> kDatabases = {
    {{"mysql", "Shop"}, "alice"},  {{"mysql", "shop"}, "alice"}, {{"mysql", "Wiki"}, "alice"},
    {{"mysql", "a b%20c"}, "bob"}, {{"mysql", "both"}, "alice"}, {{"pgsql", "both"}, "alice"},
    {{"mysql", "100%"}, "bob"},    {{"pgsql", "a->b"}, "bob"},
};

std::string Choice(const Role& role, const std::string& target) {
  try {
    const auto query = DumpQuery::Parse(role, target);
    return query ? query->Choose(kDatabases).id.Key() : "nothing";
  } catch (const Error& error) {
    return error.type() + ": " + error.what();
  }
}

std::string Choice4(const std::string& elid) {
  return Choice(kSource4, "/zelcgi/dbdownload?elid=" + elid + "&auth=k");
}

std::string Choice5(const std::string& elid) {
  return Choice(kSource5, "/any/path?func=db.dump&elid=" + elid + "&auth=k");
}

TEST(DumpQuery, EachGenerationHasItsOwnAddress) {
  EXPECT_EQ(Choice(kSource4, "/zelcgi/dbdownload?auth=k&elid=shop"), "shop->mysql");
  EXPECT_EQ(Choice(kSource4, "/zelcgi/dbdownload/?elid=shop"), "nothing");
  EXPECT_EQ(Choice(kSource4, "/any/path?func=db.dump&elid=shop->mysql"), "nothing");
  EXPECT_EQ(Choice(kSource5, "/?auth=k&elid=shop->mysql&func=db.dump"), "shop->mysql");
  EXPECT_EQ(Choice(kSource5, "/zelcgi/dbdownload?elid=shop"), "nothing");
  EXPECT_EQ(Choice(kSource5, "/?func=db&elid=shop->mysql"), "nothing");
  EXPECT_EQ(Choice(kSource5, "/"), "nothing");
  EXPECT_EQ(Choice({}, "/?func=db.dump&elid=shop->mysql"), "nothing");
}

TEST(DumpQuery, TellsTheFunctionAndKeepsTheOtherFields) {
  const auto query = DumpQuery::Parse(kSource4, "/zelcgi/dbdownload?elid=shop&auth=a%26b&su=alice");
  ASSERT_TRUE(query);
  EXPECT_EQ(query->function, "dbdownload");
  EXPECT_EQ(query->form.Get("auth"), "a&b");
  EXPECT_EQ(query->form.Get("su"), "alice");
  EXPECT_EQ(DumpQuery::Parse(kSource5, "/?func=db.dump&elid=x")->function, "db.dump");
}

TEST(DumpQuery, GenerationFourTakesTheNameAsItIsBeforeOneOfAnotherCase) {
  EXPECT_EQ(Choice4("shop"), "shop->mysql");
  EXPECT_EQ(Choice4("Shop"), "Shop->mysql");
  EXPECT_EQ(Choice4("wiki"), "Wiki->mysql");
  EXPECT_EQ(Choice4("SHOP"),
            "value: bad value 'SHOP' of field elid: stands for several databases: "
            "Shop->mysql, shop->mysql");
  EXPECT_EQ(Choice4("both"),
            "value: bad value 'both' of field elid: stands for several databases: "
            "both->mysql, both->pgsql");
  EXPECT_EQ(Choice4("none"), "missing: no database 'none'");
}

TEST(DumpQuery, GenerationFiveTakesTheWholeKey) {
  EXPECT_EQ(Choice5("both->pgsql"), "both->pgsql");
  EXPECT_EQ(Choice5("both-%3Emysql"), "both->mysql");
  EXPECT_EQ(Choice5("a->b->pgsql"), "a->b->pgsql");
  EXPECT_EQ(Choice5("wiki->mysql"), "missing: no database 'wiki->mysql'");
  EXPECT_EQ(Choice5("both"), "missing: no database 'both'");
}

TEST(DumpQuery, TakesNamesEncodedAndAsTheyAre) {
  EXPECT_EQ(Choice4("a%20b%2520c"), "a b%20c->mysql");
  EXPECT_EQ(Choice4("a b%20c"), "a b%20c->mysql");
  EXPECT_EQ(Choice5("100%25->mysql"), "100%->mysql");
  EXPECT_EQ(Choice5("100%->mysql"), "100%->mysql");
  EXPECT_EQ(Choice4("%00"), "missing: no database '%00'");
}

TEST(DumpQuery, MalformedQueriesAreErrors) {
  EXPECT_EQ(Choice4(""), "value: field elid is missing or empty");
  EXPECT_EQ(Choice(kSource4, "/zelcgi/dbdownload"), "value: field elid is missing or empty");
  EXPECT_EQ(Choice4("a&elid=b"), "request: field 'elid' is given twice");
  EXPECT_EQ(Choice4("a&%65lid=b"), "request: field 'elid' is not written as elid=NAME");
  EXPECT_EQ(Choice(kSource4, "/zelcgi/dbdownload?elid=a&auth=%zz"),
            "request: malformed body: bad percent-encoding in the value of field 'auth'");
}

}  // namespace
}  // namespace panel
