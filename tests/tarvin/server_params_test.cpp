#include <gtest/gtest.h>

#include "tarvin/tarvin.h"

namespace {

using End = tarvin::SyncUserFiles::ServerParams;

constexpr char kUrl[] = "https://src.example:1500/panel";

TEST(ServerParams, IsThisHostUntilItIsToldOtherwise) {
  const End end;
  EXPECT_TRUE(end.local);
  EXPECT_EQ(end.port, 0);
  EXPECT_EQ(end.path + end.url + end.host + end.login + end.password + end.key + end.relpath, "");
}

TEST(ServerParams, APasswordTakesThePlaceOfAKey) {
  End end;
  end.RemoteKey("/old", "https://old.example", "admin", "/etc/key", 22);
  end.RemotePasswd("/home/user1", kUrl, "root", "secret", 2222);
  EXPECT_FALSE(end.local);
  EXPECT_EQ(end.path, "/home/user1");
  EXPECT_EQ(end.url, kUrl);
  EXPECT_EQ(end.host, "src.example");
  EXPECT_EQ(end.login, "root");
  EXPECT_EQ(end.password, "secret");
  EXPECT_EQ(end.key, "");
  EXPECT_EQ(end.port, 2222);
}

TEST(ServerParams, AKeyTakesThePlaceOfAPassword) {
  End end;
  end.RemotePasswd("/old", "https://old.example", "admin", "secret", 22);
  end.RemoteKey("/home/user1", kUrl, "root", "/etc/key", 2222);
  EXPECT_FALSE(end.local);
  EXPECT_EQ(end.path, "/home/user1");
  EXPECT_EQ(end.url, kUrl);
  EXPECT_EQ(end.host, "src.example");
  EXPECT_EQ(end.login, "root");
  EXPECT_EQ(end.password, "");
  EXPECT_EQ(end.key, "/etc/key");
  EXPECT_EQ(end.port, 2222);
}

TEST(ServerParams, ARemoteEndBecomesThisHostAgain) {
  End end;
  end.RemotePasswd("/old", kUrl, "root", "secret", 22);
  end.Local("/home/user1");
  EXPECT_TRUE(end.local);
  EXPECT_EQ(end.path, "/home/user1");
}

TEST(ServerParams, ARelativePathIsKeptBesideThePath) {
  End end;
  end.Local("/home/user1/mail");
  end.SetRelPath("mail");
  EXPECT_EQ(end.relpath, "mail");
  EXPECT_EQ(end.path, "/home/user1/mail");
}

}  // namespace
