#include "panel/form.h"

#include <gtest/gtest.h>

#include "panel/error.h"

namespace panel {
namespace {

std::string RefusalOf(const std::string& body) {
  try {
    Form::Parse(body);
  } catch (const Error& error) {
    EXPECT_EQ(error.type(), "request");
    EXPECT_EQ(error.value(), "");
    return error.what();
  }
  return "accepted";
}

TEST(FormTest, DecodesPlusPercentAndEveryByte) {
  const Form form = Form::Parse("a=x+y%2Bz&b=%D0%96%ff&c%20d=1");
  EXPECT_EQ(form.Get("a"), "x y+z");
  EXPECT_EQ(form.Get("b"), "\xd0\x96\xff");
  EXPECT_EQ(form.Get("c d"), "1");
}

TEST(FormTest, SplitsAtTheFirstEqualsSignAlone) {
  EXPECT_EQ(Form::Parse("a=b=c").Get("a"), "b=c");
}

TEST(FormTest, TakesAFieldWithoutEqualsSignAsEmpty) {
  const Form form = Form::Parse("a&b=");
  EXPECT_TRUE(form.Has("a"));
  EXPECT_TRUE(form.Has("b"));
  EXPECT_FALSE(form.Has("c"));
}

TEST(FormTest, PassesOverEmptySegments) {
  EXPECT_EQ(Form::Parse("&&a=1&&b=2&").fields().size(), 2U);
  EXPECT_TRUE(Form::Parse("").fields().empty());
}

TEST(FormTest, RefusesBadPercentEncodingAndNamesTheField) {
  for (const char* bad : {"%", "%4", "%zz", "%4z", "% 4", "%+4", "%-1", "%0x", "%%41"}) {
    EXPECT_EQ(RefusalOf(std::string("ok=1&key=") + bad),
              "malformed body: bad percent-encoding in the value of field 'key'")
        << bad;
  }
  EXPECT_EQ(RefusalOf("ok=1&k%=1"), "malformed body: bad percent-encoding in the name of field 2");
}

TEST(FormTest, RefusesNulBytesRawAndEncoded) {
  EXPECT_EQ(RefusalOf("a=x%00y"), "malformed body: a NUL byte in the value of field 'a'");
  EXPECT_EQ(RefusalOf(std::string("a=x\0y", 5)),
            "malformed body: a NUL byte in the value of field 'a'");
  EXPECT_EQ(RefusalOf("a%00=x"), "malformed body: a NUL byte in the name of field 1");
}

TEST(FormTest, RefusesAFieldWithoutAName) {
  EXPECT_EQ(RefusalOf("=secret"), "malformed body: nothing in the name of field 1");
}

TEST(FormTest, RefusesAFieldGivenTwiceWithoutShowingItsValue) {
  EXPECT_EQ(RefusalOf("auth=s3cret&auth=s3cret"), "malformed body: field 'auth' is given twice");
}

TEST(FormTest, TakesTheLargestNumberOfFieldsAndNoMore) {
  std::string body;
  for (std::size_t i = 0; i < kMaxFields; ++i) {
    body += "f" + std::to_string(i) + "=&";
  }
  EXPECT_EQ(Form::Parse(body).fields().size(), kMaxFields);
  EXPECT_EQ(RefusalOf(body + "one=more"), "malformed body: more than 4096 fields");
}

TEST(FormTest, TakesTheLargestBodyAndNoMore) {
  std::string body = "a=" + std::string(kMaxBody - 2, 'x');
  EXPECT_EQ(Form::Parse(body).Get("a").size(), kMaxBody - 2);
  EXPECT_EQ(RefusalOf(body + "x"), "malformed body: more than 67108864 bytes");
}

TEST(FormTest, RequiresAValue) {
  const Form form = Form::Parse("a=1&b=");
  EXPECT_EQ(form.Require("a"), "1");
  EXPECT_THROW(form.Require("b"), Error);
  EXPECT_THROW(form.Require("c"), Error);
}

TEST(FormTest, ReadsFlagsExactly) {
  const Form form = Form::Parse("on=on&off=off&empty=&odd=ON");
  EXPECT_TRUE(form.Flag("on"));
  EXPECT_FALSE(form.Flag("off"));
  EXPECT_FALSE(form.Flag("empty"));
  EXPECT_FALSE(form.Flag("absent"));
  EXPECT_THROW(form.Flag("odd"), Error);
}

TEST(FormTest, SubmitsWithSokOkAlone) {
  EXPECT_TRUE(Form::Parse("sok=ok").Submitted());
  EXPECT_FALSE(Form::Parse("sok=no").Submitted());
  EXPECT_FALSE(Form::Parse("").Submitted());
}

}  // namespace
}  // namespace panel
