#include <gtest/gtest.h>

#include "tarvin/tarvin.h"

namespace {

using ServerParams = tarvin::SyncUserFiles::ServerParams;

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

}  // namespace
