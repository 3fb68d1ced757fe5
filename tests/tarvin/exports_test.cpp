#include <gmock/gmock.h>
#include <gtest/gtest.h>

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
  EXPECT_THAT(symbols,
              testing::Each(testing::AnyOf("vormain", testing::ContainsRegex("(^| )tarvin::"))));
}

/// `symbol` with the standard's types by their short names.
std::string Shortened(std::string symbol) {
  const std::vector<std::pair<std::string, std::string>> names{
      {"std::__cxx11::basic_string<char, std::char_traits<char>, std::allocator<char> >", "string"},
      {"std::map<string, string, std::less<string >, std::allocator<std::pair<string const, string "
       "> > >",
       "StringMap"},
      {"std::__cxx11::list<string, std::allocator<string > >", "list"},
  };
  for (const auto& [name, shorter] : names) {
    for (auto at = symbol.find(name); at != std::string::npos; at = symbol.find(name, at + 1)) {
      symbol.replace(at, name.size(), shorter);
    }
  }
  return symbol;
}

/// With their arguments, which are part of a symbol's name.
TEST(TheJob, ShowsEverySharedRoutine) {
  auto symbols = SymbolsOf(TARVIN);
  for (auto& symbol : symbols) symbol = Shortened(symbol);
  for (const std::string name :
       {"BinParams::BinParams(string const&)",
        "BinParams::Get(string const&, StringMap&)",
        "BinParams::Set(StringMap const&)",
        "JoinParams(StringMap const&)",
        "SubstParams(string const&, list const&)",
        "SubstParams(string const&, string const&)",
        "SubstParams(string const&, string const&, string const&)",
        "SubstParams(string const&, string const&, string const&, string const&)",
        "RemoteQuery(string const&, string const&, string const&)",
        "GetAuthID(string const&, string const&, string const&)",
        "Detalize(string const&, string const&, string const&, string const&, "
        "trel_xml::XPath const&)",
        "IsMultiselect(trel_xml::Xml const&, string const&)",
        "FillParamsMap(trel_xml::XmlNode const&, StringMap&, string const&, bool)",
        "ExecuteRemoteRootCommand(std::shared_ptr<trel_rpc::SSH> const&, string "
        "const&, string const&)",
        "GetHostName(string const&)",
        "QuotedIP(string)",
        "KeyTemp::KeyTemp(string const&)",
        "KeyTemp::~KeyTemp()",
        "SyncUserFiles::SyncUserFiles(string const&, "
        "tarvin::SyncUserFiles::ServerParams const&, "
        "tarvin::SyncUserFiles::ServerParams const&, bool, list const*)",
        "SyncUserFiles::Run()",
        "SyncUserFiles::Result()",
        "SyncUserFiles::Output[abi:cxx11]() const",
        "SyncUserFiles::UseRsyncChecksum(bool)",
        "SyncUserFiles::ServerParams::Local(string const&)",
        "SyncUserFiles::ServerParams::SetRelPath(string const&)",
        "SyncUserFiles::ServerParams::RemotePasswd(string const&, string const&, "
        "string const&, string const&, int)",
        "SyncUserFiles::ServerParams::RemoteKey(string const&, string const&, string "
        "const&, string const&, int)",
        "Mb2Md(string const&, string const&, string const&, string&)",
        "IsMailDirEmail(string const&)",
        "PkgInstall(string const&)",
        "PkgInfo(string const&, string&)"}) {
    EXPECT_THAT(symbols, testing::Contains("tarvin::" + name));
  }
}

TEST(TheJob, NeedsThePlatformAndTheLanguageAlone) {
  const auto needed = NeededBy(TARVIN);
  EXPECT_THAT(needed, testing::Contains("libtrel.so"));
  EXPECT_THAT(needed, testing::Each(testing::MatchesRegex(
                          "libtrel\\.so|lib(stdc\\+\\+|gcc_s|c|m|asan|ubsan)\\.so\\.[0-9]+|"
                          "ld-linux.*")));
}

}  // namespace
