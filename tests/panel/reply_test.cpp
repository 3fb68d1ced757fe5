#include "panel/reply.h"

#include <gtest/gtest.h>

#include "panel/text.h"

namespace panel {
namespace {

std::string RoundTrip(const std::string& text) {
  Reply reply;
  reply.Add("field", text);
  Reply::Mark(reply.AddElement("marked"), "mark", text);
  pugi::xml_document parsed;
  const std::string xml = reply.Str();
  EXPECT_TRUE(parsed.load_buffer(xml.data(), xml.size())) << xml;
  const auto doc = parsed.child("doc");
  EXPECT_STREQ(doc.child("marked").attribute("mark").value(), doc.child_value("field"));
  return doc.child_value("field");
}

TEST(ReplyTest, IsADocWithADeclaration) {
  Reply reply;
  reply.Add("a", "1");
  reply.Add("b", "");
  EXPECT_EQ(reply.Str(), "<?xml version=\"1.0\" encoding=\"UTF-8\"?><doc><a>1</a><b/></doc>");
}

TEST(ReplyTest, GivesEveryTextBackUnchanged) {
  for (const std::string text :
       {"plain", "a & b < c > d", "\"quoted\" and 'quoted'", "]]>", "&amp;", "&#10;", "line\nfeed",
        "carriage\r\nreturn", "\r", "\ttab", " ", "  \n ", " lead and trail ", "\n",
        "\xd0\x96\xd0\xb0\xd0\xb1\xd0\xb0", "\xf0\x9f\x90\xb8", ""}) {
    EXPECT_EQ(RoundTrip(text), text);
    EXPECT_TRUE(IsXmlText(text)) << OneLine(text);
  }
}

TEST(ReplyTest, ShowsWhatXmlCannotHoldAsReplacement) {
  for (const std::string text : {"\x01", "\x1b", "\xff", "\xc3", "\xef\xbf\xbe"}) {
    EXPECT_FALSE(IsXmlText("a" + text)) << OneLine(text);
    EXPECT_EQ(RoundTrip("a" + text + "b"),
              "a\xef\xbf\xbd"
              "b");
  }
}

TEST(ReplyTest, ErrorsCarryTypeObjectValueAndMessage) {
  EXPECT_EQ(
      ErrorReply(Missing("user", "o'\"<x>")).Str(),
      "<?xml version=\"1.0\" encoding=\"UTF-8\"?><doc><error type=\"missing\" object=\"user\">"
      "<value>o'&quot;&lt;x&gt;</value><msg>no user 'o'\\&quot;&lt;x&gt;'</msg>"
      "</error></doc>");
}

TEST(ReplyTest, ARefusalSaysPermissionDeniedAndNothingElse) {
  EXPECT_STREQ(Denied("user.edit").what(), "Permission denied");
  EXPECT_EQ(Denied("user.edit").type(), "access");
}

TEST(TextTest, OneLineEscapesWhateverBreaksALine) {
  EXPECT_EQ(OneLine("a\nb\rc\td\\e\"f"), "a\\nb\\rc\\td\\\\e\\\"f");
  EXPECT_EQ(OneLine("\x1b[31m\x7f"), "\\x1b[31m\\x7f");
  EXPECT_EQ(OneLine("\xd0\x96\xff"), "\xd0\x96\\xff");
}

}  // namespace
}  // namespace panel
