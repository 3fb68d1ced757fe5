#include <gtest/gtest.h>

#include "tarvin/tarvin.h"

namespace {

TEST(GetHostName, TakesTheHostOutOfAnAddress) {
  const std::map<std::string, std::string> rows{
      {"", ""},
      {"src.example", "src.example"},
      {"https://src.example:1500/panel", "src.example"},
      {"https://src.example/panel", "src.example"},
      {"https://src.example", "src.example"},
      {"src.example/panel", "src.example"},
      {"src.example:22", "src.example"},
      {"https://[fd00:99::1]:1500/panel", "fd00:99::1"},
      {"[::1]", "::1"},
      {"https://[::1]/panel", "::1"},
      {"[::1", "::1"},
      {"src.example/a:b", "src.example/a"},
      {"https://src.example/a:b/c", "src.example/a"},
      {"https://", ""},
      {"://x://y", "x"},
      {"192.0.2.1", "192.0.2.1"},
  };
  for (const auto& [address, host] : rows) {
    EXPECT_EQ(tarvin::GetHostName(address), host) << address;
  }
}

TEST(QuotedIP, BracketsIpv6AddressesAlone) {
  const std::map<std::string, std::string> rows{
      {"fd00:99::1", "[fd00:99::1]"}, {"::1", "[::1]"},           {"192.0.2.1", "192.0.2.1"},
      {"src.example", "src.example"}, {"[::1]", "[::1]"},         {"", ""},
      {"::1%eth0", "::1%eth0"},       {"::1:1500x", "::1:1500x"},
  };
  for (const auto& [address, quoted] : rows) EXPECT_EQ(tarvin::QuotedIP(address), quoted);
}

}  // namespace
