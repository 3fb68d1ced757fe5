#include "trel/trel_err.h"

#include <gtest/gtest.h>

namespace {

using trel_err::AssertError;
using trel_err::Error;
using trel_xml::Xml;

TEST(Error, NamesTypeObjectAndValue) {
  EXPECT_STREQ(Error("tarvin").what(), "tarvin");
  EXPECT_STREQ(Error("tarvin", "query_args").what(), "tarvin: query_args");
  EXPECT_STREQ(Error("missed", "user", "bob").what(), "missed: user: bob");
  EXPECT_STREQ(Error("missed", "", "bob").what(), "missed: bob");
  const Error error("missed", "user", "bob");
  EXPECT_EQ(error.type(), "missed");
  EXPECT_EQ(error.object(), "user");
  EXPECT_EQ(error.value(), "bob");
}

TEST(Error, AddsTheMessageWhereItSaysMore) {
  EXPECT_STREQ(Error("file", "read", "/x", std::string("/x: gone")).what(),
               "file: read: /x (/x: gone)");
  EXPECT_STREQ(Error("remote", "query", "refused", std::string("refused")).what(),
               "remote: query: refused");
}

TEST(Error, MakesADocumentOfThePanelsForm) {
  EXPECT_EQ(Error("a", "b", "c<d", std::string("e & f")).xml().Str(false),
            "<doc><error type=\"a\" object=\"b\"><value>c&lt;d</value><msg>e &amp; f</msg>"
            "</error></doc>");
  EXPECT_EQ(Error("a").xml().Str(false),
            "<doc><error type=\"a\" object=\"\"><value></value></error></doc>");
  EXPECT_FALSE(Error("a", "b", "c").xml().GetNode("/doc/error/msg"));
}

TEST(Error, KeepsThePanelsDocument) {
  const auto document = Xml::Parse("<doc><error><msg>No such user</msg><extra/></error></doc>");
  const Error error("missed", "user", "bob", document);
  EXPECT_STREQ(error.what(), "missed: user: bob (No such user)");
  EXPECT_TRUE(error.xml().GetNode("/doc/error/extra"));
}

TEST(Error, OutlivesItsDocumentsHandles) {
  const Error copy = [] {
    return Error("a", "b", "c", Xml::Parse("<doc><error><msg>m</msg></error></doc>"));
  }();
  EXPECT_EQ(copy.xml().GetNode("/doc/error/msg").Str(), "m");
}

TEST(AssertError, NamesThePlace) {
  try {
    AssertError::Raise("tarvin/tarvin", 42, "Get", "a misuse");
    FAIL();
  } catch (const AssertError& error) {
    EXPECT_STREQ(error.what(), "assert: tarvin/tarvin:42 Get: a misuse");
    EXPECT_EQ(error.type(), "assert");
    EXPECT_EQ(error.xml().GetNode("/doc/error/msg").Str(), "a misuse");
  }
}

}  // namespace
