#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <regex>

#include "trel/str.h"
#include "trel/trel_proc.h"

namespace {

using Strings = std::vector<std::string>;

std::string OutputOf(const Strings& command) {
  trel_proc::Execute tool(command, 6);
  EXPECT_EQ(tool.Result(), 0) << tool.Str();
  return tool.Str();
}

/// What the first group of `pattern` matches in each line of `text` that has it.
Strings Matches(const std::string& text, const std::string& pattern) {
  const std::regex regex(pattern);
  Strings found;
  std::string_view rest = text;
  while (!rest.empty()) {
    const std::string line(str::GetWord(rest, "\n"));
    std::smatch match;
    if (std::regex_search(line, match, regex)) found.push_back(match[1]);
  }
  return found;
}

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
                                 "Detalize",
                                 "IsMultiselect",
                                 "FillParamsMap",
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
                                 "SyncUserFiles::ServerParams::RemoteKey",
                                 "Mb2Md",
                                 "IsMailDirEmail",
                                 "PkgInstall",
                                 "PkgInfo"}) {
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

class BuiltFile : public testing::TestWithParam<std::string> {
 protected:
  std::string Dynamic() const { return OutputOf({"readelf", "-dW", GetParam()}); }
  std::string Segments() const { return OutputOf({"readelf", "-lW", GetParam()}); }
};

TEST_P(BuiltFile, BindsItsSymbolsAtStartAndProtectsThem) {
  EXPECT_THAT(Segments(), testing::HasSubstr("GNU_RELRO"));
  EXPECT_THAT(Dynamic(), testing::HasSubstr("BIND_NOW"));
}

TEST_P(BuiltFile, HasNoExecutableStack) {
  EXPECT_EQ(Matches(Segments(), "GNU_STACK .* (R[W ][E ]) "), (Strings{"RW "}));
}

TEST_P(BuiltFile, LoadsAtAnyAddress) {
  EXPECT_THAT(OutputOf({"readelf", "-hW", GetParam()}), testing::ContainsRegex("Type: +DYN "));
}

/// An empty or a relative place would be looked up in the working directory, which may belong to
/// somebody else.
TEST_P(BuiltFile, LooksForLibrariesInNoPlaceOfOthers) {
  for (const auto& places : Matches(Dynamic(), "\\((?:RUNPATH|RPATH)\\).*\\[(.*)\\]")) {
    EXPECT_EQ(places, "$ORIGIN/../lib");
  }
}

INSTANTIATE_TEST_SUITE_P(All, BuiltFile, testing::Values(TARVIN, LIBTREL, VORLAUNCH, REFPANEL),
                         [](const auto& file) {
                           return std::regex_replace(file.param.substr(file.param.rfind('/') + 1),
                                                     std::regex("\\W"), "_");
                         });

}  // namespace
