// What the files that are shipped look like from outside.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <regex>

#include "support/built_file.h"

namespace {

using support::Matches;
using support::OutputOf;
using Strings = std::vector<std::string>;

class BuiltFile : public testing::TestWithParam<std::string> {
 protected:
  std::string Dynamic() const { return OutputOf({"readelf", "-dW", GetParam()}); }
  std::string Segments() const { return OutputOf({"readelf", "-lW", GetParam()}); }
  /// The functions of other files that it calls.
  Strings Calls() const {
    return Matches(OutputOf({"readelf", "--dyn-syms", "-W", GetParam()}),
                   " (?:FUNC|NOTYPE) .* UND ([^@ ]+)");
  }
};

TEST_P(BuiltFile, ChecksItsStackFrames) {
  EXPECT_THAT(Calls(), testing::Contains("__stack_chk_fail"));
}

#ifdef FORTIFIED
/// With _FORTIFY_SOURCE each of these has a checked form, which is called wherever it is used.
TEST_P(BuiltFile, FormatsThroughCheckedFunctionsAlone) {
  const std::regex unchecked("v?(?:f|d|s|sn|as)?printf|gets|syslog");
  for (const auto& call : Calls()) EXPECT_FALSE(std::regex_match(call, unchecked)) << call;
}
#endif

TEST_P(BuiltFile, BindsItsSymbolsAtStartAndProtectsThem) {
  EXPECT_THAT(Segments(), testing::HasSubstr("GNU_RELRO"));
  EXPECT_THAT(Dynamic(), testing::ContainsRegex("FLAGS_1.* NOW"));
}

TEST_P(BuiltFile, HasNoExecutableStack) {
  EXPECT_EQ(Matches(Segments(), "GNU_STACK .* (R[W ][E ]) "), (Strings{"RW "}));
}

TEST_P(BuiltFile, HasNoMemoryThatCanBeWrittenAndRun) {
  EXPECT_EQ(Matches(Segments(), "(LOAD .* RWE )"), (Strings{}));
  EXPECT_THAT(Dynamic(), testing::Not(testing::HasSubstr("TEXTREL")));
}

TEST_P(BuiltFile, LoadsAtAnyAddress) {
  EXPECT_THAT(OutputOf({"readelf", "-hW", GetParam()}), testing::ContainsRegex("Type: +DYN "));
  if (Segments().find("INTERP") != std::string::npos) {
    EXPECT_THAT(Dynamic(), testing::ContainsRegex("FLAGS_1.* PIE"));
  }
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
