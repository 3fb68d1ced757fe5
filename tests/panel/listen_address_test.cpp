#include "panel/listen_address.h"

#include <gtest/gtest.h>

#include <stdexcept>

namespace panel {
namespace {

TEST(ListenAddressTest, ReadsBothFamiliesAndWritesThemBack) {
  for (const char* text : {"127.0.0.1:0", "0.0.0.0:65535", "[::1]:1500", "[fd00:99::1]:80"}) {
    EXPECT_EQ(ListenAddress::Parse(text).Str(), text);
  }
  EXPECT_EQ(ListenAddress::Parse("[::1]:1500").host, "::1");
  EXPECT_EQ(ListenAddress::Parse("[::1]:1500").port, 1500);
}

TEST(ListenAddressTest, RefusesEverythingElse) {
  for (const char* text :
       {"", ":", "127.0.0.1", "127.0.0.1:", ":80", "::1:80", "[::1]", "[::1]80", "[127.0.0.1]:80",
        "[]:80", "127.0.0.1:65536", "127.0.0.1:-1", "127.0.0.1:+1", "127.0.0.1: 80",
        "127.0.0.1:80 ", "127.0.0.1:80x", "localhost:80", "256.0.0.1:80", "[::1%lo]:80"}) {
    EXPECT_THROW(ListenAddress::Parse(text), std::invalid_argument) << text;
  }
}

}  // namespace
}  // namespace panel
