#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <regex>

#include "support/built_file.h"
#include "trel/str.h"

namespace {

using support::Matches;
using support::OutputOf;
using Strings = std::vector<std::string>;

Strings SymbolsOf(const std::string& file) {
  return Matches(OutputOf({"nm", "-D", "--defined-only", "-C", file}), "^[0-9a-f]+ . (.*)$");
}

Strings NeededBy(const std::string& file) {
  return Matches(OutputOf({"readelf", "-dW", file}), "\\(NEEDED\\).*\\[(.*)\\]");
}

TEST(TheJob, ShowsItsEntryAndTheSharedRoutinesAlone) {
  const auto symbols = SymbolsOf(TARVIN);
  EXPECT_THAT(symbols, testing::Contains("vormain"));
  for (const auto& symbol : symbols) {
    EXPECT_TRUE(symbol == "vormain" || std::regex_search(symbol, std::regex("(^| )tarvin::")))
        << symbol;
  }
}

TEST(TheJob, ShowsEverySharedRoutine) {
  const auto symbols = str::Join(SymbolsOf(TARVIN), "\n");
  for (const std::string name : {"BinParams::BinParams",
                                 "BinParams::Get",
                                 "BinParams::Set",
                                 "JoinParams",
                                 "SubstParams",
                                 "RemoteQuery",
                                 "GetAuthID",
                                 "ExecuteRemoteRootCommand",
                                 "GetHostName",
                                 "QuotedIP",
                                 "KeyTemp::KeyTemp",
                                 "KeyTemp::~KeyTemp",
                                 "SyncUserFiles::SyncUserFiles",
                                 "SyncUserFiles::Run",
                                 "SyncUserFiles::Result",
                                 "SyncUserFiles::Output[abi:cxx11]",
                                 "SyncUserFiles::UseRsyncChecksum",
                                 "SyncUserFiles::ServerParams::Local",
                                 "SyncUserFiles::ServerParams::SetRelPath",
                                 "SyncUserFiles::ServerParams::RemotePasswd",
                                 "SyncUserFiles::ServerParams::RemoteKey"}) {
    EXPECT_THAT(symbols, testing::HasSubstr("tarvin::" + name + "(")) << name;
  }
}

TEST(TheJob, NeedsThePlatformAndTheLanguageAlone) {
  const auto needed = NeededBy(TARVIN);
  EXPECT_THAT(needed, testing::Contains("libtrel.so"));
  const std::regex known(
      "libtrel\\.so|lib(stdc\\+\\+|gcc_s|c|m|asan|ubsan)\\.so\\.[0-9]+|ld-linux.*");
  for (const auto& library : needed) EXPECT_TRUE(std::regex_match(library, known)) << library;
}

}  // namespace
