#include <gtest/gtest.h>

#include "tarvin/tarvin.h"

namespace {

using ServerParams = tarvin::SyncUserFiles::ServerParams;

constexpr char kUrl[] = "https://src.example:1500/panel";

TEST(ServerParams, BeginsOnThisHostAndEmpty) {
  const ServerParams end;
  EXPECT_TRUE(end.local);
  EXPECT_EQ(end.port, 0);
  EXPECT_EQ(end.path + end.url + end.host + end.login + end.password + end.key + end.relpath, "");
}

TEST(ServerParams, HasItsFieldsInTheirOrder) {
  const ServerParams end{false, "path", "url", "host", "login", "password", "key", "relpath", 22};
  EXPECT_FALSE(end.local);
  EXPECT_EQ(end.path, "path");
  EXPECT_EQ(end.url, "url");
  EXPECT_EQ(end.host, "host");
  EXPECT_EQ(end.login, "login");
  EXPECT_EQ(end.password, "password");
  EXPECT_EQ(end.key, "key");
  EXPECT_EQ(end.relpath, "relpath");
  EXPECT_EQ(end.port, 22);
}

TEST(ServerParams, KeepsTheAddressBesideItsHost) {
  ServerParams end;
  end.RemotePasswd("/home", kUrl, "root", "secret", 2222);
  EXPECT_FALSE(end.local);
  EXPECT_EQ(end.path, "/home");
  EXPECT_EQ(end.url, kUrl);
  EXPECT_EQ(end.host, "src.example");
  EXPECT_EQ(end.login, "root");
  EXPECT_EQ(end.password, "secret");
  EXPECT_EQ(end.port, 2222);
}

TEST(ServerParams, HasEitherAPasswordOrAKey) {
  ServerParams end;
  end.RemotePasswd("", kUrl, "root", "secret", 22);
  end.RemoteKey("/srv", kUrl, "admin", "/root/key", 23);
  EXPECT_EQ(end.path, "/srv");
  EXPECT_EQ(end.host, "src.example");
  EXPECT_EQ(end.login, "admin");
  EXPECT_EQ(end.password, "");
  EXPECT_EQ(end.key, "/root/key");
  EXPECT_EQ(end.port, 23);
  end.RemotePasswd("", kUrl, "root", "secret", 22);
  EXPECT_EQ(end.key, "");
}

TEST(ServerParams, ComesBackToThisHost) {
  ServerParams end;
  end.RemoteKey("", kUrl, "root", "/root/key", 22);
  end.Local("/home");
  EXPECT_TRUE(end.local);
  EXPECT_EQ(end.path, "/home");
  end.SetRelPath("site");
  EXPECT_EQ(end.relpath, "site");
}

}  // namespace
