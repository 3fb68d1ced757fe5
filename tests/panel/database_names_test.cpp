#include <gtest/gtest.h>

#include "panel/dbserver/hashes.h"
#include "panel/dbserver/mariadb_quoting.h"
#include "panel/dbserver/names.h"
#include "panel/error.h"
#include "panel/hosted_databases.h"

namespace panel::dbserver {
namespace {

using enum Type;
using enum NameOf;

bool Takes(Type type, NameOf what, const std::string& name) {
  try {
    CheckName(type, what, "name", name);
    return true;
  } catch (const Error& error) {
    EXPECT_EQ(error.type(), "value");
    EXPECT_EQ(error.object(), "name");
    EXPECT_LT(std::string(error.what()).size(), 600U);
    return false;
  }
}

std::string Characters(std::size_t count) {
  std::string text;
  while (count-- > 0) {
    text += "я";
  }
  return text;
}

TEST(DatabaseNames, MayHoldWhatCanBeQuoted) {
  for (const char* name : {"a", "shop_1", "O'Neil", "a`b", "a\"b", "a%b", "a b", "склад", "$x",
                           "a.b", "a;b", "1", "a-b", "mysql2"}) {
    for (const Type type : {kMariadb, kPostgres}) {
      EXPECT_TRUE(Takes(type, kDatabase, name)) << name;
      EXPECT_TRUE(Takes(type, kUser, name)) << name;
    }
  }
}

TEST(DatabaseNames, WhatCouldBeTakenForSomethingElseIsRefused) {
  for (const std::string name : {"", "-x", " a", "a ", "a\nb", "a\tb", "a\x7f", "a/b", "../b",
                                 "a\\b", "a->b", "\xff", "a\x01", "panel_x", "PANEL_x"}) {
    EXPECT_FALSE(Takes(kMariadb, kDatabase, name)) << name;
    EXPECT_FALSE(Takes(kPostgres, kUser, name)) << name;
  }
  EXPECT_FALSE(Takes(kMariadb, kDatabase, "a" + std::string(1, '\0')));
}

TEST(DatabaseNames, TheServersOwnAreRefusedThere) {
  for (const char* name : {"mysql", "MySQL", "information_schema", "performance_schema", "sys",
                           "root", "mariadb.sys"}) {
    EXPECT_FALSE(Takes(kMariadb, kDatabase, name)) << name;
    EXPECT_TRUE(Takes(kPostgres, kUser, name)) << name;
  }
  for (const char* name :
       {"postgres", "template0", "template1", "public", "pg_x", "PG_x", "none"}) {
    EXPECT_FALSE(Takes(kPostgres, kUser, name)) << name;
    EXPECT_TRUE(Takes(kMariadb, kDatabase, name)) << name;
  }
}

TEST(DatabaseNames, AreAsLongAsTheServerAllows) {
  EXPECT_TRUE(Takes(kMariadb, kDatabase, Characters(64)));
  EXPECT_FALSE(Takes(kMariadb, kDatabase, Characters(65)));
  EXPECT_TRUE(Takes(kMariadb, kUser, Characters(80)));
  EXPECT_FALSE(Takes(kMariadb, kUser, Characters(81)));
  EXPECT_TRUE(Takes(kPostgres, kDatabase, std::string(57, 'a')));
  EXPECT_FALSE(Takes(kPostgres, kDatabase, std::string(58, 'a')));
  EXPECT_TRUE(Takes(kPostgres, kUser, std::string(63, 'a')));
  EXPECT_FALSE(Takes(kPostgres, kUser, std::string(64, 'a')));
  EXPECT_FALSE(Takes(kMariadb, kDatabase, std::string(10000, 'a')));
}

TEST(DatabaseNames, OfServersAreWords) {
  EXPECT_NO_THROW(CheckServerName("NAME", "mysql-8.0_b"));
  for (const std::string name : {"", "-a", "a b", "a->b", "a'b", "a\n"}) {
    EXPECT_THROW(CheckServerName("NAME", name), Error) << name;
  }
}

TEST(DatabaseKeys, AreReadFromTheEnd) {
  const HostedName id = HostedName::ParseKey("elid", "a->b->mysql");
  EXPECT_EQ(id, (HostedName{"mysql", "a->b"}));
  EXPECT_EQ(id.Key(), "a->b->mysql");
  for (const char* key : {"", "a", "->mysql", "a->", "->", "a-b>c"}) {
    EXPECT_THROW(HostedName::ParseKey("elid", key), Error) << key;
  }
}

TEST(MariadbQuoting, DoublesBackticksAndEscapesPatterns) {
  EXPECT_EQ(MariadbIdentifier("a`b"), "`a``b`");
  EXPECT_EQ(MariadbIdentifier("a'\\\n%"), "`a'\\\n%`");
  EXPECT_EQ(MariadbAccount("a`", "%`"), "`a```@`%```");
  EXPECT_EQ(MariadbGrantPattern("a_b%c`"), "`a\\_b\\%c```");
}

TEST(Hosts, AreSplitAtBlanksCommasAndLines) {
  EXPECT_EQ(ParseHosts("addr_list", " 10.0.0.1,10.0.%\n\r fd00::1\thost-1.example 10.0.0.1 "),
            (Hosts{"10.0.0.1", "10.0.%", "fd00::1", "host-1.example"}));
  EXPECT_EQ(ParseHosts("addr_list", "192.0.2.0/255.255.255.0 %"),
            (Hosts{"192.0.2.0/255.255.255.0", "%"}));
  EXPECT_TRUE(ParseHosts("addr_list", " \n,").empty());
}

TEST(Hosts, ThatAreNoneAreNamed) {
  for (const std::string host : {"a'b", "a`b", "a;b", "-x", "a\\b", "\"", "é"}) {
    try {
      ParseHosts("addr_list", "10.0.0.1 " + host);
      ADD_FAILURE() << host;
    } catch (const Error& error) {
      EXPECT_EQ(error.object(), "addr_list");
      EXPECT_EQ(error.value(), host);
    }
  }
  EXPECT_THROW(ParseHosts("addr_list", std::string(256, 'a')), Error);
  std::string many;
  for (int i = 0; i < 257; ++i) {
    many += "h" + std::to_string(i) + " ";
  }
  EXPECT_THROW(ParseHosts("addr_list", many), Error);
}

constexpr const char* kNative = "*2470C0C06DEE42FD1618BB99005ADCA2EC9D1E19";
constexpr const char* kMd5 = "md5c563ce3a95076b305e3f5154fabb4b6f";
const std::string kScram =
    "SCRAM-SHA-256$4096:c2FsdHNhbHRzYWx0MTIzNA==$"
    "AAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAA=:BBBBBBBBBBBBBBBBBBBBBBBBBBBBBBBBBBBBBBBBBBB=";

std::string Complaint(Type type, const std::string& hash) {
  try {
    CheckHash(type, "u'1\n", hash);
    return "";
  } catch (const Error& error) {
    EXPECT_EQ(error.type(), "value");
    EXPECT_EQ(error.value(), "");
    if (!hash.empty()) {
      EXPECT_EQ(std::string(error.what()).find(hash), std::string::npos);
    }
    return error.what();
  }
}

TEST(Hashes, OfTheServersAreTaken) {
  EXPECT_EQ(Complaint(kMariadb, kNative), "");
  EXPECT_EQ(Complaint(kMariadb, "*2470c0c06dee42fd1618bb99005adca2ec9d1e19"), "");
  EXPECT_EQ(Complaint(kPostgres, kMd5), "");
  EXPECT_EQ(Complaint(kPostgres, kScram), "");
}

TEST(Hashes, OfOtherKindsAreNamed) {
  const std::string user = "database user 'u'1\\n': ";
  EXPECT_EQ(Complaint(kMariadb, ""), user + "the password hash is empty");
  EXPECT_EQ(Complaint(kPostgres, ""), user + "the password hash is empty");
  EXPECT_EQ(Complaint(kMariadb, "0123456789abcdef"),
            user + "a hash from before MySQL 4.1 (mysql_old_password) lets nobody in any more");
  EXPECT_EQ(Complaint(kMariadb, "$A$005$xyz"),
            user + "MariaDB does not know hashes of caching_sha2_password");
  for (const std::string& hash :
       {std::string(kMd5), std::string(kNative).substr(1), std::string(kNative) + "0",
        std::string(40, 'A') + "*", std::string("*") + std::string(40, 'G'),
        std::string(kNative) + "\n", std::string(100000, '*')}) {
    EXPECT_EQ(Complaint(kMariadb, hash), user +
                                             "not a hash of mysql_native_password (an asterisk "
                                             "and 40 hexadecimal digits)");
  }
  for (const std::string& hash :
       {std::string(kNative), std::string("md5zzz"), std::string(kMd5) + "0",
        std::string("SCRAM-SHA-256$4096:xx$yy:zz"), kScram + " ", "x" + kScram,
        std::string("SCRAM-SHA-256$0:c2FsdA==$") + kScram.substr(44), std::string(100000, 'm')}) {
    EXPECT_EQ(Complaint(kPostgres, hash), user + "not a hash of SCRAM-SHA-256 or MD5");
  }
}

TEST(Hashes, AreMadeAsMariadbMakesThem) {
  EXPECT_EQ(NativePasswordHash("password"), kNative);
}

}  // namespace
}  // namespace panel::dbserver
