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
