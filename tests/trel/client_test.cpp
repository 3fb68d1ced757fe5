#include "trel/trel_client.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>

#include "support/forked.h"
#include "support/scratch.h"
#include "support/seam.h"

namespace {

using support::ErrorOf;
using trel_client::Local;
using trel_client::Remote;

class ClientTest : public testing::Test {
 protected:
  ClientTest() { trel_seam::Current().http = panel_; }
  ~ClientTest() override { trel_client::DefaultLang(""); }

  void Answers(const std::string& body, int status = 200) const { panel_->reply = {status, body}; }
  std::string RefusalOf(const trel_client::Client& client) const {
    return ErrorOf([&] { client.Query("func=whoami&auth=hunter2"); });
  }
  const trel_seam::HttpPost& Sent() const { return panel_->posts.back(); }

  support::SeamKeeper keeper_;
  std::shared_ptr<support::ScriptedPanel> panel_ = std::make_shared<support::ScriptedPanel>();
  Remote remote_{"https://src.example:1500/panel?x=1"};
};

/// The local panel's socket comes from the configuration, which a process reads once.
class LocalTest : public ClientTest {
 protected:
  bool Holds(const std::function<void(const Local&)>& body) const {
    support::Scratch scratch;
    const auto conf = scratch.Write("trel.toml", "local.socket = '/run/test.sock'\n");
    return support::HoldsWhenForked([&] {
      setenv("TREL_CONF", conf.c_str(), 1);
      body(Local("vortrel", "tarvin"));
    });
  }
};

TEST_F(ClientTest, AQueryIsSentAsItStands) {
  remote_.Query("func=a&elid=%26 ?&x");
  EXPECT_EQ(Sent().body, "func=a&elid=%26 ?&x");
  EXPECT_EQ(Sent().url, "https://src.example:1500/panel?x=1");
  EXPECT_EQ(Sent().socket, "");
}

TEST_F(ClientTest, ParametersFollowInKeyOrderWithEncodedValues) {
  remote_.Query("func=user.edit", {{"sok", "ok"}, {"elid", "a&b"}, {"z", ""}, {"Z", "?"}});
  EXPECT_EQ(Sent().body, "func=user.edit&Z=%3F&elid=a%26b&sok=ok&z=");
  remote_.Query("func=user.edit", StringMap());
  EXPECT_EQ(Sent().body, "func=user.edit");
}

TEST_F(ClientTest, PlaceholdersAreFilledInOrder) {
  const std::string name = "c?d";
  remote_.Query("func=x&elid=?&name=?", "a&b", name);
  EXPECT_EQ(Sent().body, "func=x&elid=a%26b&name=c%3Fd");
}

TEST_F(ClientTest, PlaceholdersMustBeAsManyAsArguments) {
  EXPECT_THROW(remote_.Query("func=x&elid=?", "a", "b"), trel_err::AssertError);
  EXPECT_THROW(remote_.Query("func=x&elid=?&name=?", "a"), trel_err::AssertError);
  EXPECT_THROW(remote_.Query("func=x", "a"), trel_err::AssertError);
  EXPECT_THAT(ErrorOf([&] { remote_.Query("func=x", "a"); }),
              testing::MatchesRegex("assert: trel/client:[0-9]+ trel_client::Client::Query: not as "
                                    "many placeholders as arguments"));
  EXPECT_TRUE(panel_->posts.empty());
}

TEST_F(ClientTest, ASubmissionGoesOutAtMostOnce) {
  const std::map<std::string, bool> rows{
      {"func=a&sok=ok", true},    {"sok=ok&func=a", true}, {"func=a&sok=ok&b=c", true},
      {"func=a", false},          {"func=a&sok=", false},  {"func=a&xsok=ok", false},
      {"func=a&sok=okay", false}, {"func=sok=ok", false},  {"", false},
  };
  for (const auto& [query, once] : rows) {
    remote_.Query(query);
    EXPECT_EQ(Sent().at_most_once, once) << query;
  }
  remote_.Query("func=a", {{"sok", "ok"}});
  EXPECT_TRUE(Sent().at_most_once);
}

TEST_F(ClientTest, TheLanguageTravelsBesideTheQuery) {
  remote_.Query("func=a");
  EXPECT_EQ(Sent().language, "");
  trel_client::DefaultLang("de");
  remote_.Query("func=a");
  EXPECT_EQ(Sent().language, "de");
  EXPECT_EQ(Sent().body, "func=a");
}

TEST_F(ClientTest, TheTimeOutIsThatOfTheClient) {
  remote_.Query("func=a");
  EXPECT_EQ(Sent().timeout, 0);
  remote_.SetTimeout(45);
  remote_.Query("func=a");
  EXPECT_EQ(Sent().timeout, 45);
}

TEST_F(ClientTest, AResultHasElementsAndValues) {
  Answers("<doc><elem>1</elem><auth id='x'>key</auth><elem>2</elem><a><elem>no</elem></a></doc>");
  const auto result = remote_.Query("func=a");
  std::string texts;
  for (const auto& elem : result.elems()) texts += elem.Str();
  EXPECT_EQ(texts, "12");
  EXPECT_EQ(result.value("auth"), "key");
  EXPECT_EQ(result.value("none"), "");
}

TEST_F(ClientTest, ElementsOutliveTheResult) {
  Answers("<doc><elem>1</elem></doc>");
  for (const auto& elem : remote_.Query("func=a").elems()) EXPECT_EQ(elem.Str(), "1");
}

TEST_F(ClientTest, ARemoteErrorHasThePanelsMessageAsValue) {
  Answers("<doc><error type='access' object='user'><msg>Permission denied</msg></error></doc>");
  try {
    remote_.Query("func=a");
    FAIL();
  } catch (const trel_err::Error& error) {
    EXPECT_EQ(error.type(), "remote");
    EXPECT_EQ(error.object(), "query");
    EXPECT_EQ(error.value(), "Permission denied");
    EXPECT_EQ(error.xml().GetNode("/doc/error").GetProp("type"), "access");
  }
}

TEST_F(ClientTest, ARemoteErrorWithoutAMessageKeepsItsDocument) {
  Answers("<doc><error type='access'/></doc>");
  try {
    remote_.Query("func=a");
    FAIL();
  } catch (const trel_err::Error& error) {
    EXPECT_STREQ(error.what(), "remote: query");
    EXPECT_EQ(error.xml().GetNode("/doc/error").GetProp("type"), "access");
  }
}

TEST_F(ClientTest, OtherRemoteFailuresNameTheHostAndNoSecret) {
  struct Row {
    trel_seam::HttpReply reply;
    std::string why;
  };
  for (const auto& [reply, why] :
       {Row{{500, "<doc/>"}, "answered with status 500"},
        Row{{204, ""}, "answered with status 204"},
        Row{{200, "hello"},
            "the answer is not an XML document: No document element found at "
            "byte 5"},
        Row{{200, "<html/>"}, "the answer is XML without the root 'doc'"},
        Row{{200, "<doc><elem>"},
            "the answer is not an XML document: Start-end tags mismatch at "
            "byte 10"}}) {
    panel_->reply = reply;
    EXPECT_EQ(RefusalOf(remote_), "remote: query: src.example:1500: " + why);
  }
}

TEST_F(ClientTest, AFailureHasADocumentWithItsMessage) {
  panel_->failure = "src.example:1500: connection refused";
  try {
    remote_.Query("func=a");
    FAIL();
  } catch (const trel_err::Error& error) {
    EXPECT_EQ(error.value(), "src.example:1500: connection refused");
    EXPECT_EQ(error.xml().GetNode("/doc/error/msg").Str(), error.value());
  }
}

TEST_F(LocalTest, TheLocalPanelIsAskedOnItsSocket) {
  EXPECT_TRUE(Holds([&](const Local& local) {
    local.Query("func=a");
    EXPECT_EQ(Sent().socket, "/run/test.sock");
    EXPECT_EQ(Sent().url, "http://vortrel/");
    EXPECT_EQ(Sent().agent, "tarvin");
    EXPECT_EQ(Sent().timeout, 0);
  }));
}

TEST_F(LocalTest, ALocalErrorHasThePanelsOwnNames) {
  EXPECT_TRUE(Holds([&](const Local& local) {
    Answers(
        "<doc><error type='missed' object='user'><value>bob</value><msg>No such user</msg>"
        "</error></doc>");
    EXPECT_EQ(RefusalOf(local), "missed: user: bob (No such user)");
    Answers("<doc><error type='access'/></doc>");
    EXPECT_EQ(RefusalOf(local), "access");
  }));
}

TEST_F(LocalTest, OtherLocalFailuresNameTheSocket) {
  EXPECT_TRUE(Holds([&](const Local& local) {
    Answers("", 404);
    EXPECT_EQ(RefusalOf(local), "local: query: /run/test.sock: answered with status 404");
    Answers("<other/>");
    EXPECT_EQ(RefusalOf(local),
              "local: query: /run/test.sock: the answer is XML without the root 'doc'");
    panel_->failure = "/run/test.sock: no such file or directory";
    EXPECT_EQ(RefusalOf(local), "local: query: /run/test.sock: no such file or directory");
  }));
}

}  // namespace
