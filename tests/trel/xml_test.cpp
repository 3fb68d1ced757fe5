#include "trel/trel_xml.h"

#include <gtest/gtest.h>

#include "support/seam.h"

namespace {

using support::ErrorOf;
using trel_xml::Xml;
using trel_xml::XmlNode;

std::string Refusal(const std::string& text) {
  return ErrorOf([&] { Xml::Parse(text); });
}

std::vector<std::string> Texts(const trel_xml::XPath& nodes) {
  std::vector<std::string> texts;
  for (const auto& node : nodes) texts.push_back(node.Str());
  return texts;
}

using Strings = std::vector<std::string>;

TEST(XmlParse, ReadsElementsAttributesAndText) {
  const auto document = Xml::Parse("<doc><elem id='7'>a &lt; b</elem></doc>");
  const auto elem = document.GetNode("/doc/elem");
  EXPECT_TRUE(elem);
  EXPECT_TRUE(elem.IsNode());
  EXPECT_EQ(elem.Name(), "elem");
  EXPECT_EQ(elem.Str(), "a < b");
  EXPECT_EQ(elem.GetProp("id"), "7");
  EXPECT_EQ(elem.GetProp("none"), "");
}

TEST(XmlParse, TakesADeclarationCommentsAndWhiteSpaceBesideTheRoot) {
  const auto document = Xml::Parse(
      "\xEF\xBB\xBF<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<!-- a -->\n<doc/>\n<!-- b -->\n");
  EXPECT_EQ(document.GetRoot().Name(), "doc");
}

TEST(XmlParse, RefusesAnythingElseBesideTheRoot) {
  for (const std::string text : {"<doc/>garbage", "garbage<doc/>", "<doc/><doc/>",
                                 "<doc/>\n<other/>", "<doc/>\ngarbage\n", "<doc/><![CDATA[x]]>"}) {
    EXPECT_NE(Refusal(text).find("document: something beside the root at byte"), std::string::npos)
        << text << ": " << Refusal(text);
  }
}

TEST(XmlParse, SaysWhatIsWrongAndWhere) {
  const std::map<std::string, std::string> rows{
      {"<doc><elem>", "Start-end tags mismatch at byte 10"},
      {"<doc><a></b></doc>", "Start-end tags mismatch at byte 10"},
      {"<doc", "Error parsing start element tag at byte 3"},
      {"", "No document element found at byte 0"},
      {"{\"doc\":1}", "No document element found at byte 9"},
      {"<!-- only -->", "No document element found at byte 13"},
      {"<doc>a\xC3</doc>", "not UTF-8 at byte 6"},
      {"<doc>\xED\xA0\x80</doc>", "not UTF-8 at byte 5"},
      {std::string("<doc>a\0b</doc>", 14), "a zero byte at byte 6"},
      {std::string("<doc/>\0", 7), "a zero byte at byte 6"},
      {"<doc>ab", "Start-end tags mismatch at byte 6"},
  };
  for (const auto& [text, why] : rows) {
    EXPECT_EQ(Refusal(text), "xml: parse (not an XML document: " + why + ")") << text;
  }
}

TEST(XmlParse, SeesABadByteWhereverItStands) {
  for (std::size_t before = 0; before < 20; ++before) {
    const auto text = "<a>" + std::string(before, 'x') + "\xFF" + std::string(20, 'x') + "</a>";
    EXPECT_EQ(Refusal(text), "xml: parse (not an XML document: not UTF-8 at byte " +
                                 std::to_string(before + 3) + ")");
  }
}

TEST(XmlParse, RefusesReferencesToNoCharacter) {
  for (const std::string reference :
       {"&#0;", "&#00;", "&#x0;", "&#x0000;", "&#4294967296;", "&#x100000000;", "&#xD800;",
        "&#57343;", "&#x110000;", "&#99999999999999999999;"}) {
    EXPECT_EQ(Refusal("<doc>ab" + reference + "</doc>"),
              "xml: parse (not an XML document: a reference to no character at byte 7)")
        << reference;
  }
  EXPECT_NE(Refusal("<doc a='&#0;'/>"), "nothing thrown");
}

TEST(XmlParse, ReadsReferencesToCharacters) {
  const auto document = Xml::Parse("<doc>&#65;&#x42;&#x10FFFF;&amp;#0;&quot;&apos;&gt;</doc>");
  EXPECT_EQ(document.GetRoot().Str(), "AB\xF4\x8F\xBF\xBF&#0;\"'>");
  EXPECT_EQ(Xml::Parse("<doc>R&#38;D &#</doc>").GetRoot().Str(), "R&D &#");
  EXPECT_EQ(Xml::Parse("<doc>&#0~;&#x0 ;</doc>").GetRoot().Str(), "&#0~;&#x0 ;");
}

TEST(XmlParse, ExpandsNoEntityOfItsOwn) {
  const auto document = Xml::Parse(
      "<!DOCTYPE doc [<!ENTITY a 'secret'><!ENTITY b SYSTEM 'file:///etc/passwd'>]>"
      "<doc>&a;&b;</doc>");
  EXPECT_EQ(document.GetRoot().Str(), "&a;&b;");
}

TEST(XmlParse, TakesDeepNesting) {
  constexpr int kDepth = 100'000;
  std::string text;
  for (int i = 0; i < kDepth; ++i) text += "<a>";
  text += "deep";
  for (int i = 0; i < kDepth; ++i) text += "</a>";
  const auto document = Xml::Parse(text);
  EXPECT_EQ(document.GetNode("//a[not(a)]").Str(), "deep");
  EXPECT_EQ(document.Str(false), text);
}

TEST(XmlNode, KeepsWhiteSpaceThatIsAWholeValue) {
  const auto document = Xml::Parse("<doc>\n <a> </a>\n <b>\n</b>\n <c/>\n</doc>");
  EXPECT_EQ(document.GetNode("/doc/a").Str(), " ");
  EXPECT_EQ(document.GetNode("/doc/b").Str(), "\n");
  EXPECT_EQ(document.GetNode("/doc/c").Str(), "");
  EXPECT_EQ(document.GetRoot().Str(), "");
}

TEST(XmlNode, TellsItsOwnTextAndNotThatOfChildElements) {
  const auto document = Xml::Parse("<doc>a<b>no</b>c<![CDATA[<d>]]><!-- no -->e</doc>");
  EXPECT_EQ(document.GetRoot().Str(), "ac<d>e");
}

TEST(XmlNode, MayBeATextOrMissing) {
  const auto document = Xml::Parse("<doc><a>text</a></doc>");
  const auto text = document.GetNode("/doc/a/text()");
  EXPECT_TRUE(text);
  EXPECT_FALSE(text.IsNode());
  EXPECT_EQ(text.Name(), "");
  EXPECT_EQ(text.Str(), "text");
  for (const auto& missing : {XmlNode(), document.GetNode("/doc/none"), text.FindNode("a")}) {
    EXPECT_FALSE(missing);
    EXPECT_FALSE(missing.IsNode());
    EXPECT_EQ(missing.Name(), "");
    EXPECT_EQ(missing.Str(), "");
    EXPECT_EQ(missing.GetProp("id"), "");
    EXPECT_FALSE(missing.FindNode("a"));
  }
}

TEST(XmlNode, FindsTheFirstChildOfAName) {
  const auto root = Xml::Parse("<doc><x><a>deep</a></x><a>1</a><a>2</a></doc>").GetRoot();
  EXPECT_EQ(root.FindNode("a").Str(), "1");
  EXPECT_FALSE(root.FindNode("b"));
}

TEST(XmlNode, OutlivesTheHandlesOnItsDocument) {
  XmlNode node;
  trel_xml::XPath nodes;
  {
    const auto document = Xml::Parse("<doc><a>1</a><a>2</a></doc>");
    node = document.GetNode("/doc/a");
    nodes = document.GetNodes("/doc/a");
  }
  EXPECT_EQ(node.Str(), "1");
  EXPECT_EQ(Texts(nodes), (Strings{"1", "2"}));
}

TEST(XPath, SelectsInDocumentOrder) {
  const auto document = Xml::Parse("<doc><a>1</a><b>2</b><a>3</a><c><b>4</b></c></doc>");
  EXPECT_EQ(Texts(document.GetNodes("//b | //a")), (Strings{"1", "2", "3", "4"}));
  EXPECT_EQ(Texts(document.GetNodes("/doc/a[2]/preceding-sibling::*")), (Strings{"1", "2"}));
  EXPECT_EQ(Texts(document.GetNodes("/doc/none")), Strings());
}

TEST(XPath, LeavesAttributesOut) {
  const auto document = Xml::Parse("<doc a='1'/>");
  EXPECT_FALSE(document.GetNode("/doc/@a"));
  EXPECT_TRUE(document.GetNode("/doc[@a='1']"));
}

TEST(XPath, IteratesOverItsNodes) {
  const auto nodes = Xml::Parse("<doc><a>1</a><a>2</a></doc>").GetNodes("/doc/a");
  auto at = nodes.begin();
  EXPECT_EQ(at->Str(), "1");
  ++at;
  EXPECT_EQ((*at).Str(), "2");
  EXPECT_NE(at, nodes.end());
  EXPECT_EQ(++at, nodes.end());
  EXPECT_EQ(trel_xml::XPath().begin(), trel_xml::XPath().begin());
}

TEST(XPath, RefusesWhatIsNoExpressionForNodes) {
  const auto document = Xml::Parse("<doc/>");
  for (const std::string xpath :
       {"/doc[", "", "count(//a)", "'text'", "//a[matches(., 'x')]", "$unknown"}) {
    const auto error = ErrorOf([&] { document.GetNodes(xpath); });
    const auto begin = "xml: xpath: " + xpath;
    EXPECT_EQ(error.substr(0, xpath.empty() ? 10 : begin.size()),
              xpath.empty() ? "xml: xpath" : begin);
    EXPECT_NE(ErrorOf([&] { document.GetNode(xpath); }), "nothing thrown");
  }
}

TEST(XPath, SurvivesAnExpressionOfManyBrackets) {
  const auto document = Xml::Parse("<doc/>");
  const std::string open(100'000, '(');
  EXPECT_NE(ErrorOf([&] { document.GetNodes(open); }), "nothing thrown");
}

TEST(Xml, MissesEverythingWhenEmpty) {
  const Xml document;
  EXPECT_FALSE(document.GetRoot());
  EXPECT_FALSE(document.GetNode("/doc"));
  EXPECT_EQ(Texts(document.GetNodes("//*")), Strings());
  EXPECT_EQ(document.Str(false), "");
}

TEST(Xml, WritesItselfRawOrFormatted) {
  const auto document = Xml::Parse("<?xml version='1.0'?><doc><a>1 &amp; 2</a><b/></doc>");
  EXPECT_EQ(document.Str(false), "<doc><a>1 &amp; 2</a><b/></doc>");
  EXPECT_EQ(document.Str(true), "<doc>\n  <a>1 &amp; 2</a>\n  <b />\n</doc>\n");
}

}  // namespace
