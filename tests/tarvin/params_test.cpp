#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>

#include "support/forked.h"
#include "support/scratch.h"
#include "support/seam.h"
#include "tarvin/tarvin.h"
#include "trel/trel_err.h"

namespace {

using support::ErrorOf;
using support::HoldsWhenForked;
using support::ModeOf;
using support::ReadFile;
using tarvin::BinParams;

using Args = std::list<std::string>;

class BinParamsTest : public testing::Test {
 protected:
  StringMap Get(const std::string& text) const {
    StringMap params;
    BinParams("tarvin_params").Get(scratch_.Write("params", text), params);
    return params;
  }
  /// Runs `body` in a process that works in the test's directory, which has a folder "var".
  bool HoldsInDirectory(const std::function<void()>& body) const {
    std::filesystem::create_directory(scratch_.Path("var"));
    return HoldsWhenForked([&] {
      ASSERT_EQ(chdir(scratch_.Dir().c_str()), 0);
      body();
    });
  }
  std::vector<std::string> Written() const {
    std::vector<std::string> files;
    for (const auto& entry : std::filesystem::directory_iterator(scratch_.Path("var"))) {
      files.push_back(entry.path());
    }
    return files;
  }

  support::Scratch scratch_;
};

TEST_F(BinParamsTest, GetReadsAKeyAndAValueFromEachLine) {
  const std::map<std::string, StringMap> rows{
      {"", {}},
      {"a = 1", {{"a", "1"}}},
      {"a = 1\n", {{"a", "1"}}},
      {"b = 2\na = 1\n", {{"a", "1"}, {"b", "2"}}},
      {"a = 1\n\nb = 2\n", {{"a", "1"}, {"", ""}, {"b", "2"}}},
      {"\n", {{"", ""}}},
      {"note = a = b", {{"note", "a = b"}}},
      {"flag", {{"flag", ""}}},
      {"flag =", {{"flag =", ""}}},
      {"flag = ", {{"flag", ""}}},
      {" = x", {{"", "x"}}},
      {"name =  x ", {{"name", " x "}}},
      {"a = 1\na = 2", {{"a", "2"}}},
      {"a = 1\r\n", {{"a", "1\r"}}},
      {"a = \xFF\xFE", {{"a", "\xFF\xFE"}}},
  };
  for (const auto& [text, params] : rows) EXPECT_EQ(Get(text), params) << "'" << text << "'";
  EXPECT_EQ(Get(std::string("a = x\0y\nb = 2", 13)),
            (StringMap{{"a", std::string("x\0y", 3)}, {"b", "2"}}));
}

TEST_F(BinParamsTest, GetAddsToWhatIsThere) {
  StringMap params{{"a", "old"}, {"b", "kept"}};
  BinParams object("tarvin_params");
  EXPECT_EQ(&object.Get(scratch_.Write("params", "a = new"), params), &object);
  EXPECT_EQ(params, (StringMap{{"a", "new"}, {"b", "kept"}}));
}

TEST_F(BinParamsTest, GetRefusesAnEmptyNameAndAMissingFile) {
  StringMap params;
  EXPECT_THROW(BinParams("x").Get("", params), trel_err::AssertError);
  EXPECT_THAT(ErrorOf([&] { BinParams("x").Get(scratch_.Path("none"), params); }),
              testing::StartsWith("file: read: "));
}

TEST_F(BinParamsTest, GetReadsManyLinesInLinearTime) {
  constexpr int kLines = 200'000;
  std::string text;
  for (int i = 0; i < kLines; ++i) {
    text += "key" + std::to_string(i) + " = " + std::string(100, 'x') + "\n";
  }
  EXPECT_EQ(Get(text).size(), static_cast<std::size_t>(kLines));
}

TEST_F(BinParamsTest, SetMakesAFileForItsOwnerAlone) {
  EXPECT_TRUE(HoldsInDirectory([] {
    BinParams("tarvin_params").Set({{"username", "user1"}, {"lang", "en"}, {"remote", "a = b"}});
  }));
  ASSERT_EQ(Written().size(), 1U);
  const auto file = Written().front();
  EXPECT_THAT(file, testing::StartsWith(scratch_.Path("var/tarvin_params")));
  EXPECT_GT(file.size(), scratch_.Path("var/tarvin_params").size());
  EXPECT_EQ(ReadFile(file), "lang = en\nremote = a = b\nusername = user1");
  EXPECT_EQ(ModeOf(file), 0600U);
}

TEST_F(BinParamsTest, SetGivesTheModeWhateverTheUmaskTakesAway) {
  EXPECT_TRUE(HoldsInDirectory([] {
    umask(0777);
    BinParams("tarvin_params").Set({{"a", "1"}});
  }));
  ASSERT_EQ(Written().size(), 1U);
  EXPECT_EQ(ModeOf(Written().front()), 0600U);
}

TEST_F(BinParamsTest, SetAgainRewritesTheSameFile) {
  EXPECT_TRUE(HoldsInDirectory([] {
    BinParams object("tarvin_params");
    EXPECT_EQ(&object.Set({{"a", "a long value"}}), &object);
    object.Set({{"b", "2"}});
  }));
  ASSERT_EQ(Written().size(), 1U);
  EXPECT_EQ(ReadFile(Written().front()), "b = 2");
}

TEST_F(BinParamsTest, EachObjectHasItsOwnFile) {
  EXPECT_TRUE(HoldsInDirectory([] {
    BinParams("tarvin_params").Set({});
    BinParams("tarvin_params").Set({});
  }));
  ASSERT_EQ(Written().size(), 2U);
  EXPECT_EQ(ReadFile(Written().front()), "");
}

TEST_F(BinParamsTest, GetReadsBackWhatSetWrote) {
  const StringMap params{{"", ""}, {"a", ""}, {"b", " x = y "}, {"c", "\xFF\t\r"}};
  EXPECT_TRUE(HoldsInDirectory([&] { BinParams("tarvin_params").Set(params); }));
  StringMap read;
  BinParams("tarvin_params").Get(Written().front(), read);
  EXPECT_EQ(read, params);
}

TEST_F(BinParamsTest, SetNeedsItsFolder) {
  EXPECT_TRUE(HoldsWhenForked([&] {
    ASSERT_EQ(chdir(scratch_.Dir().c_str()), 0);
    EXPECT_THAT(ErrorOf([] { BinParams("tarvin_params").Set({}); }),
                testing::StartsWith("file: create: var/tarvin_params"));
  }));
}

TEST(JoinParams, EncodesTheValuesAlone) {
  EXPECT_EQ(tarvin::JoinParams({}), "");
  EXPECT_EQ(tarvin::JoinParams({{"a", "1&2"}, {"b", "x"}}), "a=1%262&b=x");
  EXPECT_EQ(tarvin::JoinParams({{"b", ""}, {"a&", "="}, {"B", " "}}), "B=%20&a&=%3D&b=");
}

TEST(SubstParams, FillsThePlaceholdersInOrder) {
  struct Row {
    std::string format;
    Args args;
    std::string query;
  };
  for (const auto& [format, args, query] :
       {Row{"func=user.edit&elid=?&name=?", {"a&b", "c"}, "func=user.edit&elid=a%26b&name=c"},
        Row{"a=?", {}, "a=?"}, Row{"", {}, ""}, Row{"a=?&b=?", {"1"}, "a=1&b=?"},
        Row{"??", {"1", "2"}, "12"}, Row{"?", {""}, ""}, Row{"a=?&b=?", {"?", "x"}, "a=%3F&b=x"}}) {
    EXPECT_EQ(tarvin::SubstParams(format, args), query) << format;
  }
}

TEST(SubstParams, RefusesMoreArgumentsThanPlaceholders) {
  EXPECT_EQ(ErrorOf([] { tarvin::SubstParams("a", Args{"x"}); }), "tarvin: query_args");
  EXPECT_EQ(ErrorOf([] { tarvin::SubstParams("a=?", "?", "x"); }), "tarvin: query_args");
}

TEST(SubstParams, TakesOneToThreeArguments) {
  EXPECT_EQ(tarvin::SubstParams("?", "1"), "1");
  EXPECT_EQ(tarvin::SubstParams("?-?", "1", "2"), "1-2");
  EXPECT_EQ(tarvin::SubstParams("?-?-?", "1", "2", "3"), "1-2-3");
}

}  // namespace
