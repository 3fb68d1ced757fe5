#include <gtest/gtest.h>

#include "trel/trel_xml.h"

namespace {

using trel_xml::EscapePropValue;
using trel_xml::Xml;

TEST(XmlNode, KnowsWhatItStandsIn) {
  const auto document = Xml::Parse("<doc><a><b>text</b></a></doc>");
  const auto b = document.GetNode("//b");
  EXPECT_EQ(b.Parent(0).Name(), "b");
  EXPECT_EQ(b.Parent(1).Name(), "a");
  EXPECT_EQ(b.Parent(2).Name(), "doc");
  EXPECT_FALSE(b.Parent(3));
  EXPECT_FALSE(b.Parent(4));
  EXPECT_FALSE(document.GetRoot().Parent(1));
}

TEST(XmlNode, LeadsFromChildToChild) {
  const auto document = Xml::Parse("<doc><a/>text<b/></doc>");
  const auto a = document.GetRoot().FirstChild();
  EXPECT_EQ(a.Name(), "a");
  EXPECT_EQ(a.Next().Str(), "text");
  EXPECT_FALSE(a.Next().IsNode());
  EXPECT_EQ(a.Next().Next().Name(), "b");
  EXPECT_FALSE(a.Next().Next().Next());
  EXPECT_FALSE(a.FirstChild());
}

TEST(XmlNode, TakesACopyOfANodeOfAnotherDocument) {
  const auto form = Xml::Parse("<doc><a x='1'><b>text</b></a></doc>");
  const auto list = Xml::Parse("<doc><first/></doc>");
  list.GetRoot().AppendChild(form.GetNode("/doc/a"));
  EXPECT_EQ(list.Str(false), "<doc><first/><a x=\"1\"><b>text</b></a></doc>");
  EXPECT_EQ(form.Str(false), "<doc><a x=\"1\"><b>text</b></a></doc>");
}

TEST(XmlNode, ChangesItsContentForAText) {
  const auto document = Xml::Parse("<doc><a x='1'>old<b/>text</a></doc>");
  document.GetNode("/doc/a").SetContent("<new> & text");
  EXPECT_EQ(document.Str(false), "<doc><a x=\"1\">&lt;new&gt; &amp; text</a></doc>");
}

TEST(EscapePropValue, MakesALiteralOfAnyText) {
  EXPECT_EQ(EscapePropValue(""), "''");
  EXPECT_EQ(EscapePropValue("plain"), "'plain'");
  EXPECT_EQ(EscapePropValue("it's"), "\"it's\"");
  EXPECT_EQ(EscapePropValue("\""), "'\"'");
  EXPECT_EQ(EscapePropValue("it's \"here\""), "concat(\"it's \",'\"here\"')");
  EXPECT_EQ(EscapePropValue("\"'s and then no more"), "concat('\"',\"'s and then no more\")");
}

TEST(EscapePropValue, IsReadBackByTheParser) {
  std::string many;
  for (int i = 0; i < 5000; ++i) many += "'\"";
  for (const std::string text :
       {"", "plain", "it's", "\"", "'\"", "\"'", "''\"\"''", "a'b\"c'd", many.c_str()}) {
    const auto document = Xml::Parse("<doc><a/></doc>");
    document.GetNode("/doc/a").SetContent(text);
    EXPECT_TRUE(document.GetNode("/doc/a[. = " + EscapePropValue(text) + "]")) << text;
    EXPECT_FALSE(document.GetNode("/doc/a[. != " + EscapePropValue(text) + "]")) << text;
  }
}

}  // namespace
