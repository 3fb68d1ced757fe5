// What the files that are shipped look like from outside.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>

#include "support/built_file.h"

namespace {

using support::Matches;
using support::OutputOf;
using Strings = std::vector<std::string>;

/// The functions of other files that it calls.
Strings CallsOf(const std::string& file) {
  return Matches(OutputOf({"readelf", "--dyn-syms", "-W", file}),
                 " (?:FUNC|NOTYPE) .* UND ([^@ ]+)");
}

class BuiltFile : public testing::TestWithParam<std::string> {
 protected:
  std::string Dynamic() const { return OutputOf({"readelf", "-dW", GetParam()}); }
  std::string Segments() const { return OutputOf({"readelf", "-lW", GetParam()}); }
};

TEST_P(BuiltFile, ChecksItsStackFrames) {
  EXPECT_THAT(CallsOf(GetParam()), testing::Contains("__stack_chk_fail"));
}

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

#ifdef FORTIFIED
/// Where a size is known at last when the program runs, the function that checks it is called. The
/// other two files have no such place.
TEST(FortifiedFile, CallsTheCheckedFormsOfCFunctions) {
  EXPECT_THAT(CallsOf(LIBTREL), testing::Contains("__vsnprintf_chk"));
  EXPECT_THAT(CallsOf(VORLAUNCH), testing::Contains("__fprintf_chk"));
}
#endif

INSTANTIATE_TEST_SUITE_P(All, BuiltFile, testing::Values(TARVIN, LIBTREL, VORLAUNCH, REFPANEL),
                         [](const auto& file) {
                           auto name = file.param.substr(file.param.rfind('/') + 1);
                           std::ranges::replace(name, '.', '_');
                           return name;
                         });

}  // namespace
