#include <gtest/gtest.h>

#include "panel/dbserver/dump_filter.h"

namespace panel::dbserver {
namespace {

constexpr const char* kUs = "`panel_d`@`localhost`";

std::string Filter(DumpFilter& filter, std::string_view text, std::size_t piece) {
  std::string out;
  for (; !text.empty(); text.remove_prefix(std::min(piece, text.size()))) {
    out += filter.Feed(text.substr(0, piece));
  }
  return out + filter.End();
}

// The same answer is expected however the dump is cut into pieces.
void Expect(const std::string& dump, const std::string& expected) {
  for (const std::size_t piece :
       {std::size_t{1}, std::size_t{2}, std::size_t{7}, dump.size() + 1}) {
    EXPECT_EQ(Filter(*DefinerFilter(kUs), dump, piece), expected) << "in pieces of " << piece;
  }
}

TEST(DefinerFilter, RewritesWhatDumpsOfMariadbAndMysqlHold) {
  Expect(
      "/*!50001 CREATE ALGORITHM=UNDEFINED */\n"
      "/*!50013 DEFINER=`a``b`@`%` SQL SECURITY DEFINER */\n/*!50001 VIEW `v` AS select 1 */;\n",
      "/*!50001 CREATE ALGORITHM=UNDEFINED */\n"
      "/*!50013 DEFINER=`panel_d`@`localhost` SQL SECURITY DEFINER */\n"
      "/*!50001 VIEW `v` AS select 1 */;\n");
  Expect(
      "DELIMITER ;;\n/*!50003 CREATE*/ /*!50017 DEFINER=`r`@`h`*/ /*!50003 TRIGGER t BEFORE "
      "INSERT ON x FOR EACH ROW SET NEW.a = 1 */;;\nDELIMITER ;\n",
      "DELIMITER ;;\n/*!50003 CREATE*/ /*!50017 DEFINER=`panel_d`@`localhost`*/ /*!50003 TRIGGER "
      "t BEFORE INSERT ON x FOR EACH ROW SET NEW.a = 1 */;;\nDELIMITER ;\n");
  Expect(
      "delimiter //\nCREATE DEFINER=`r`@`h` PROCEDURE p() BEGIN SELECT 1; END//\n",
      "delimiter //\nCREATE DEFINER=`panel_d`@`localhost` PROCEDURE p() BEGIN SELECT 1; END//\n");
  Expect("/*M!100101 CREATE*/ /*M!100101 DEFINER = 'r'@'h' */ EVENT e;",
         "/*M!100101 CREATE*/ /*M!100101 DEFINER = `panel_d`@`localhost` */ EVENT e;");
}

TEST(DefinerFilter, RewritesEverySpellingOfTheClause) {
  for (const char* definer :
       {"root@localhost", "'root'@'127.0.0.1'", "\"root\"@\"%\"", "`a\nb` @ h", "root"}) {
    Expect(std::string("create or replace algorithm = merge definer=") + definer + " view v as 1;",
           std::string("create or replace algorithm = merge definer=") + kUs + " view v as 1;");
  }
}

TEST(DefinerFilter, LeavesEverythingElse) {
  for (const char* dump :
       {"INSERT INTO t VALUES ('CREATE DEFINER=`a`@`b` VIEW');",
        "INSERT INTO t VALUES ('x;\nCREATE DEFINER=`a`@`b` VIEW v');",
        "INSERT INTO t VALUES ('it''s\\';\nCREATE DEFINER=`a`@`b`', \"\\\";CREATE DEFINER=a@b\");",
        "INSERT INTO `o;``\\` VALUES (';CREATE DEFINER=`a`@`b` VIEW');",
        "-- a; \nSELECT 1 -- ;\nCREATE DEFINER=`a`@`b`;",
        "# ';\n/* ; CREATE DEFINER=`a`@`b` ' */\nSELECT 1 /* ; */\nCREATE DEFINER=`a`@`b`;",
        "DELIMITER ;;\nSELECT 1;\nCREATE DEFINER=`a`@`b` VIEW;;\n",
        "CREATE DEFINER=CURRENT_USER VIEW v AS SELECT 1;",
        "CREATE DEFINER VIEW;CREATE TABLE definer (a int);",
        "CREATE ALGORITHM=UNDEFINED VIEW v AS SELECT 'DEFINER=`a`@`b`';",
        "SELECT 5-4, 1/2;CREATE",
        "CREATE DEFINER=`a",
        "'",
        "\\",
        "'\\",
        "/*",
        "--",
        "DELIMITER ;;",
        "",
        "\n\n",
        "DELIMITER\n;",
        "CREATE DEFINER=`a`@"}) {
    Expect(dump, dump);
  }
}

TEST(DefinerFilter, GoesOnBehindALongStatementAndALongComment) {
  const std::string row = "INSERT INTO t VALUES ('" + std::string(300000, ';') + "');\n";
  const std::string comment = "/* " + std::string(300000, ' ') + " */\n";
  const std::string out =
      Filter(*DefinerFilter(kUs), row + comment + "CREATE DEFINER=/* */a@b VIEW;", 4096);
  EXPECT_TRUE(out.starts_with(row + comment));
  EXPECT_EQ(out.substr(row.size() + comment.size()),
            std::string("CREATE DEFINER=/* */") + kUs + " VIEW;");
}

TEST(RestrictFilter, PutsItsOwnKeyInPlaceOfTheDumps) {
  const std::string dump =
      "--\n-- dump\n--\n\n\\restrict Ab1\n\nSELECT 1;\nCOPY t FROM stdin;\n\\restrict row\n"
      "\\unrestrict row\n\\.\n\\unrestrict Ab1\n";
  const std::string expected =
      "\\restrict K\n--\n-- dump\n--\n\n\nSELECT 1;\nCOPY t FROM stdin;\n\\restrict row\n"
      "\\unrestrict row\n\\.\n";
  for (const std::size_t piece : {std::size_t{1}, std::size_t{5}, dump.size()}) {
    EXPECT_EQ(Filter(*RestrictFilter("K"), dump, piece), expected);
  }
}

TEST(RestrictFilter, LeavesCommandsBehindTheFirstStatementToPsql) {
  const std::string dump = "SELECT 1;\n\\restrict Ab1\n\\! touch x\n\\unrestrict Ab1\n";
  EXPECT_EQ(Filter(*RestrictFilter("K"), dump, 3), "\\restrict K\n" + dump);
}

TEST(RestrictFilter, PassesLongLinesAndALastLineWithoutEnd) {
  const std::string dump = "SELECT '" + std::string(100000, 'x') + "';\n\\unrestrict";
  EXPECT_EQ(Filter(*RestrictFilter("K"), dump, 1000), "\\restrict K\n" + dump);
  EXPECT_EQ(Filter(*RestrictFilter("K"), "", 1), "\\restrict K\n");
}

}  // namespace
}  // namespace panel::dbserver
