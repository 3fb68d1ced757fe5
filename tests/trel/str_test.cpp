#include "trel/str.h"

#include <gtest/gtest.h>

#include "support/seam.h"

namespace {

using support::ErrorOf;

constexpr char kAllBlanks[] = " \t\n\v\f\r";

/// A text before and after a cut, and the word that was cut off.
struct Cut {
  std::string text;
  std::string word;
  std::string rest;
};

TEST(GetWord, CutsAtTheFirstSeparator) {
  for (const Cut& row : {Cut{"a b c", "a", "b c"}, Cut{" a", "", "a"}, Cut{"a  b", "a", " b"},
                         Cut{"a ", "a", ""}, Cut{" ", "", ""}}) {
    std::string text = row.text;
    EXPECT_EQ(str::GetWord(text, ' '), row.word) << "'" << row.text << "'";
    EXPECT_EQ(text, row.rest) << "'" << row.text << "'";
  }
}

TEST(GetWord, TakesAllWithoutASeparator) {
  for (const std::string whole : {"", "abc"}) {
    std::string text = whole;
    EXPECT_EQ(str::GetWord(text, ' '), whole);
    EXPECT_EQ(text, "");
    text = whole;
    EXPECT_EQ(str::GetWord(text, std::string(" = ")), whole);
    EXPECT_EQ(text, "");
  }
}

TEST(GetWord, DropsTheWholeOfALongSeparator) {
  for (const Cut& row :
       {Cut{"key = value", "key", "value"}, Cut{"a = b = c", "a", "b = c"}, Cut{" = ", "", ""},
        Cut{"flag =", "flag =", ""}, Cut{"a=b", "a=b", ""}, Cut{"name =  x ", "name", " x "}}) {
    std::string text = row.text;
    EXPECT_EQ(str::GetWord(text, std::string(" = ")), row.word) << "'" << row.text << "'";
    EXPECT_EQ(text, row.rest) << "'" << row.text << "'";
  }
}

TEST(GetWord, TakesAZeroByteForAByteLikeOthers) {
  std::string text("a\0b=c", 5);
  EXPECT_EQ(str::GetWord(text, '='), std::string("a\0b", 3));
  EXPECT_EQ(str::GetWord(text = std::string("a\0b", 3), '\0'), "a");
  EXPECT_EQ(text, "b");
}

TEST(GetWord, CutsAWordBetweenBlanks) {
  for (const Cut& row :
       {Cut{"a b", "a", "b"}, Cut{"  a b", "a", "b"}, Cut{"a  b", "a", " b"}, Cut{"a", "a", ""},
        Cut{"a ", "a", ""}, Cut{"", "", ""}, Cut{kAllBlanks, "", ""}, Cut{"a\nb", "a", "b"},
        Cut{"a\vb", "a", "b"}, Cut{"~a~ b", "~a~", "b"}}) {
    std::string text = row.text;
    EXPECT_EQ(str::GetWord(text), row.word) << "'" << row.text << "'";
    EXPECT_EQ(text, row.rest) << "'" << row.text << "'";
  }
}

TEST(GetWord, CutsAViewWithoutMovingAByte) {
  std::string whole;
  constexpr int kLines = 200'000;
  for (int line = 0; line < kLines; ++line) whole += "line\n";
  std::string_view rest = whole;
  std::size_t at = 0;
  int lines = 0;
  while (!rest.empty()) {
    const auto word = str::GetWord(rest, "\n");
    ASSERT_EQ(word.data(), whole.data() + at);
    ASSERT_EQ(word, "line");
    at += word.size() + 1;
    ASSERT_EQ(rest.size(), whole.size() - at);
    ++lines;
  }
  EXPECT_EQ(lines, kLines);
  EXPECT_EQ(rest.data(), whole.data() + whole.size());
}

TEST(GetWord, TakesTheWholeViewWithoutASeparator) {
  std::string_view rest = "a&b";
  EXPECT_EQ(str::GetWord(rest, "&"), "a");
  EXPECT_EQ(str::GetWord(rest, "&"), "b");
  EXPECT_TRUE(rest.empty());
  EXPECT_EQ(str::GetWord(rest, "&"), "");
}

TEST(Trim, TakesTheBlanksFromBothEnds) {
  const std::string blanks = kAllBlanks;
  EXPECT_EQ(str::Trim(blanks + "a b" + blanks), "a b");
  EXPECT_EQ(str::Trim("a"), "a");
  EXPECT_EQ(str::Trim(" ~a~ "), "~a~");
  EXPECT_EQ(str::Trim(blanks), "");
  EXPECT_EQ(str::Trim(""), "");
  EXPECT_EQ(str::Trim("\xC2\xA0"
                      "a"),
            "\xC2\xA0"
            "a");
}

TEST(Lower, KnowsAsciiAlone) {
  EXPECT_EQ(str::Lower("AZaz09@[`{"), "azaz09@[`{");
  EXPECT_EQ(str::Lower("\xC3\x84\xD0\x96"), "\xC3\x84\xD0\x96");
}

TEST(Int, ReadsTheWholeTextOrNothing) {
  const std::map<std::string, int> rows{
      {"0", 0},          {"22", 22},        {"-7", -7},
      {" 1500\n", 1500}, {"007", 7},        {"2147483647", 2147483647},
      {"", 0},           {"abc", 0},        {"12x", 0},
      {"1 2", 0},        {"2147483648", 0}, {"-2147483649", 0},
      {"0x10", 0},       {"1.5", 0},        {"99999999999999999999", 0},
  };
  for (const auto& [text, number] : rows) EXPECT_EQ(str::Int(text), number) << text;
  EXPECT_EQ(str::Int(std::string("1\0", 2)), 0);
}

TEST(Str, WritesInDecimal) {
  EXPECT_EQ(str::Str(0), "0");
  EXPECT_EQ(str::Str(-15), "-15");
  EXPECT_EQ(str::Int(str::Str(-2147483647 - 1)), -2147483647 - 1);
}

TEST(Join, PutsTheSeparatorBetweenItems) {
  EXPECT_EQ(str::Join({}, ", "), "");
  EXPECT_EQ(str::Join({"a"}, ", "), "a");
  EXPECT_EQ(str::Join({"a", "", "b"}, ", "), "a, , b");
  EXPECT_EQ(str::Join({"", ""}, ","), ",");
}

TEST(Split, GivesEachItemOnce) {
  using Items = std::set<std::string>;
  EXPECT_EQ(str::Split("", ","), Items());
  EXPECT_EQ(str::Split("a", ","), Items{"a"});
  EXPECT_EQ(str::Split("b,a,b", ","), (Items{"a", "b"}));
  EXPECT_EQ(str::Split("a,,b", ","), (Items{"", "a", "b"}));
  EXPECT_EQ(str::Split("a,", ","), Items{"a"});
  EXPECT_EQ(str::Split("a, b,c", ", "), (Items{"a", "b,c"}));
}

TEST(Append, SeparatesFromATextThatIsNotEmpty) {
  std::string text;
  str::Append(text, "a", "&");
  EXPECT_EQ(text, "a");
  str::Append(text, "", "&");
  EXPECT_EQ(text, "a&");
  str::Append(text, "b", "&");
  EXPECT_EQ(text, "a&&b");
}

TEST(Random, GivesAsManyBytesAsAskedForAndNeverTheSame) {
  EXPECT_EQ(str::Random(0), "");
  EXPECT_EQ(str::Random(16).size(), 16U);
  EXPECT_NE(str::Random(16), str::Random(16));
}

TEST(UrlEncode, LeavesUnreservedCharactersAlone) {
  const std::string plain = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-._~";
  for (int byte = 0; byte < 256; ++byte) {
    const std::string text(1, static_cast<char>(byte));
    char encoded[4];
    std::snprintf(encoded, sizeof encoded, "%%%02X", byte);
    const bool left = plain.find(text) != std::string::npos;
    EXPECT_EQ(str::url::Encode(text), left ? text : encoded) << byte;
  }
  EXPECT_EQ(str::url::Encode("a&b=\xC3\xA4 +"), "a%26b%3D%C3%A4%20%2B");
  EXPECT_EQ(str::url::Encode(""), "");
}

TEST(HexEncode, WritesTwoLowerCaseDigitsForEachByte) {
  EXPECT_EQ(str::hex::Encode(std::string("\x00\x0A\x7F\xFF", 4)), "000a7fff");
  EXPECT_EQ(str::hex::Encode(""), "");
}

TEST(Base64Decode, GivesTheBytes) {
  const std::map<std::string, std::string> rows{
      {"", ""},
      {"Zg==", "f"},
      {"Zm8=", "fo"},
      {"Zm9v", "foo"},
      {"Zm9v\nYmFy\r\n", "foobar"},
      {" Z m 8 = ", "fo"},
      {"+/+/", "\xFB\xFF\xBF"},
      {"AAEC", std::string("\0\1\2", 3)},
  };
  for (const auto& [text, bytes] : rows) EXPECT_EQ(str::base64::Decode(text), bytes) << text;
}

TEST(Base64Decode, RefusesEverythingElseWithoutShowingIt) {
  for (const std::string text : {"hunter2!", "Zg", "Zg=", "Zm9vZ", "Zh==", "Zg==Zg==", "-_-_", "=",
                                 "Zm9v====", "\xC3\xA4"}) {
    EXPECT_EQ(ErrorOf([&] { str::base64::Decode(text); }),
              "base64: decode (a value is not valid base64)")
        << text;
  }
}

TEST(Base64Decode, TakesAZeroByteForNoBlank) {
  EXPECT_NE(ErrorOf([] { str::base64::Decode(std::string("Zm9v\0", 5)); }), "nothing thrown");
  EXPECT_NE(ErrorOf([] { str::base64::Decode(std::string("Zm\0009v", 5)); }), "nothing thrown");
}

TEST(Base64Decode, TakesNoByteBeyondAsciiForADigit) {
  for (const std::string text :
       {"Zm9\xFC", "Zm9vYmF\xC3", "user1/\xC3\xBC", "Zm9v\x80\x80\x80\x80"}) {
    EXPECT_NE(ErrorOf([&] { str::base64::Decode(text); }), "nothing thrown") << text;
  }
}

TEST(Ip6, KnowsAddressesWithoutBracketsZoneOrPort) {
  for (const std::string address :
       {"::", "::1", "fd00:99::2", "2001:DB8::A", "::ffff:192.0.2.1", "1:2:3:4:5:6:7:8"}) {
    EXPECT_TRUE(test::Ip6(address)) << address;
  }
  for (const std::string other : {"", "192.0.2.1", "src.example", "[::1]", "fe80::1%eth0", "::1 ",
                                  "1:2:3:4:5:6:7", "1::2::3", "12345::", "abcd", "::1/64"}) {
    EXPECT_FALSE(test::Ip6(other)) << other;
  }
  EXPECT_FALSE(test::Ip6(std::string("::1\0src", 7)));
}

}  // namespace
