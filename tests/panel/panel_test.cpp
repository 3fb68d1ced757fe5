#include "panel/panel.h"

#include <gtest/gtest.h>

#include "panel/account.h"
#include "temp_dir.h"

namespace panel {
namespace {

// The error of an answer as "type object: message", or "ok".
std::string ErrorOf(const std::string& answer) {
  pugi::xml_document document;
  EXPECT_TRUE(document.load_buffer(answer.data(), answer.size())) << answer;
  const pugi::xml_node error = document.child("doc").child("error");
  if (!error) {
    return "ok";
  }
  return std::string(error.attribute("type").value()) + " " + error.attribute("object").value() +
         ": " + error.child_value("msg");
}

class PanelTest : public testing::Test {
 protected:
  PanelTest() { state_.users.Add("alice"); }

  std::string Source(const std::string& body) { return ErrorOf(source_.Answer(body)); }
  std::string Local(const std::string& body) { return ErrorOf(local_.Answer(body)); }
  std::string LastCall() {
    const Call call = state_.calls.All().back();
    return call.side + " " + call.function + " " + call.user + " " + call.result;
  }

  TempDir dir_;
  State state_{dir_ / "state.db", Database::Open::kCreate};
  Panel source_{{Side::kSource, Generation::k4}, state_};
  Panel local_{{Side::kLocal, Generation::k5}, state_};
  std::string admin_ = "&auth=" + state_.sessions.Open({});
  std::string alice_ = "&auth=" + state_.sessions.Open({"alice"});
};

TEST_F(PanelTest, FunctionsHaveNamesOfTheirOwn) {
  std::vector<std::string_view> names;
  for (const Function& function : Functions()) {
    names.push_back(function.name);
  }
  EXPECT_TRUE(std::is_sorted(names.begin(), names.end()));
  EXPECT_EQ(std::adjacent_find(names.begin(), names.end()), names.end());
}

TEST_F(PanelTest, ABodyThatIsMalformedIsAnsweredWithAnError) {
  EXPECT_EQ(Local("func=%zz"),
            "request body: malformed body: bad percent-encoding in the value of field 'func'");
  EXPECT_EQ(Local(""), "value func: field func is missing or empty");
}

TEST_F(PanelTest, AnUnknownFunctionIsNamedToThoseWhoHaveASession) {
  EXPECT_EQ(Local("func=no.such"), "missing function: no function 'no.such'");
  EXPECT_EQ(Source("func=no.such" + alice_), "missing function: no function 'no.such'");
  EXPECT_EQ(Source("func=no.such"), "auth auth: no session key given");
}

TEST_F(PanelTest, TheSourceWantsAKnownSessionKey) {
  EXPECT_EQ(Source("func=problems"), "auth auth: no session key given");
  EXPECT_EQ(Source("func=problems&auth="), "auth auth: no session key given");
  EXPECT_EQ(Source("func=problems&auth=0000"), "auth auth: unknown session key");
  EXPECT_EQ(Source("func=problems" + admin_), "ok");
}

TEST_F(PanelTest, CallersOfTheLocalPanelAreTheAdministratorUnlessAKeySaysOtherwise) {
  EXPECT_EQ(Local("func=problems"), "ok");
  EXPECT_EQ(Local("func=problems" + alice_), "access func: Permission denied");
  EXPECT_EQ(Local("func=problems&auth=0000"), "auth auth: unknown session key");
}

TEST_F(PanelTest, OnlyTheAdministratorActsForUsers) {
  EXPECT_EQ(Local("func=problems&su=alice"), "access func: Permission denied");
  EXPECT_EQ(LastCall(), "local problems alice access");
  EXPECT_EQ(Source("func=problems&su=alice" + alice_), "access func: Permission denied");
  EXPECT_EQ(Local("func=problems&su=bob"), "missing user: no user 'bob'");
}

TEST_F(PanelTest, ALoginKeyOpensOneSessionOfItsUser) {
  EXPECT_EQ(
      Source("func=session.newkey&checkcookie=no&username=alice&key=0123456789abcdef" + admin_),
      "ok");
  const std::string login = "func=auth&username=alice&key=0123456789abcdef";
  pugi::xml_document answer;
  ASSERT_TRUE(answer.load_string(source_.Answer(login).c_str()));
  const auto session = state_.sessions.Find(answer.child("doc").child_value("auth"));
  ASSERT_TRUE(session);
  EXPECT_EQ(session->user, "alice");
  EXPECT_EQ(Source(login), "auth key: wrong user name or login key");
}

TEST_F(PanelTest, LoginKeysAreForKnownUsersAndNotTooShort) {
  EXPECT_EQ(Local("func=session.newkey&username=bob&key=0123456789abcdef"),
            "missing user: no user 'bob'");
  EXPECT_EQ(Local("func=session.newkey&username=alice&key=0123456789abcde"),
            "value key: bad value '' of field key: at least 16 characters");
  EXPECT_EQ(Local("func=session.newkey&username=alice"),
            "value key: field key is missing or empty");
  EXPECT_EQ(Source("func=auth&username=alice&key="), "value key: field key is missing or empty");
}

TEST_F(PanelTest, ProblemsNeedASubmissionAndTheirFields) {
  const std::string good =
      "func=problems.register&sok=ok&level=error&name=import&id=a%201"
      "&msg_object=files&info=x&param_value=alice";
  EXPECT_EQ(Local("func=problems.register&level=error&name=import&id=a&msg_object=files"),
            "value sok: bad value '' of field sok: a problem is registered with sok=ok");
  EXPECT_EQ(Local("func=problems.register&sok=ok&level=fatal&name=import&id=a&msg_object=files"),
            "value level: bad value 'fatal' of field level: error, warning or info");
  EXPECT_EQ(Local("func=problems.register&sok=ok&level=error&name=import&msg_object=files"),
            "value id: field id is missing or empty");
  EXPECT_EQ(Local(good), "ok");
  EXPECT_EQ(Local(good), "exists problem: problem 'a 1' exists already");
  EXPECT_EQ(state_.problems.All().size(), 1U);
}

TEST_F(PanelTest, TheListOfProblemsShowsParametersOfAnyName) {
  Local(
      "func=problems.register&sok=ok&level=error&name=import&id=a&msg_object=files&info=%1b"
      "&param_a%20b%3C=1%0A2");
  const std::string list = local_.Answer("func=problems");
  EXPECT_NE(list.find("<param name=\"a b&lt;\">1\n2</param>"), std::string::npos) << list;
  EXPECT_NE(list.find("<info>\xef\xbf\xbd</info>"), std::string::npos) << list;
}

TEST_F(PanelTest, RepairTakesTheAbsolutePathOfAHome) {
  for (const std::string home : {"home/alice", "/", "//..", "."}) {
    EXPECT_EQ(Local("func=webdomain.diraccess.repair&user=alice&remotehomedir=" + home),
              "value remotehomedir: bad value '" + home +
                  "' of field remotehomedir: the absolute path of a home directory");
  }
  EXPECT_EQ(Local("func=webdomain.diraccess.repair&user=alice&remotehomedir="),
            "value remotehomedir: field remotehomedir is missing or empty");
  EXPECT_EQ(Local("func=webdomain.diraccess.repair&user=alice&remotehomedir=%2Fh&overwrite=1"),
            "value overwrite: bad value '1' of field overwrite: on or off");
}

TEST_F(PanelTest, AStateThatFailsIsAnAnswerToo) {
  state_.database.Exec("DROP TABLE problem_params; DROP TABLE problems");
  EXPECT_EQ(Local("func=problems"), "system state: state file " + (dir_ / "state.db").string() +
                                        ": no such table: problems");
}

TEST_F(PanelTest, LogsWhoCalledWhatAndNoSecret) {
  Source("func=session.newkey&username=alice&key=0123456789abcdef" + admin_);
  EXPECT_EQ(LastCall(), "source session.newkey administrator ok");
  Source("func=auth&username=alice&key=0123456789abcdef");
  EXPECT_EQ(LastCall(), "source auth - ok");
  Source("func=user.disable&elid=alice" + alice_);
  EXPECT_EQ(LastCall(), "source user.disable alice access");
  Local("func=user.disable&elid=bob");
  EXPECT_EQ(LastCall(), "local user.disable administrator missing");
}

TEST(AccountTest, NamesAreLettersDigitsAndThreeSigns) {
  for (const char* name : {"a", "alice", "_x", "a.b-c_d", "A9", "0a"}) {
    EXPECT_TRUE(account::ValidName(name)) << name;
  }
  EXPECT_TRUE(account::ValidName(std::string(32, 'a')));
  EXPECT_FALSE(account::ValidName(std::string(33, 'a')));
  for (const char* name : {"", "-a", "--", ".a", "..", "a/b", "a\nb", "a b", "a:b", "a'b", "a\"b",
                           "a$", "\xd0\xb0", "a,b", "a*"}) {
    EXPECT_FALSE(account::ValidName(name)) << name;
  }
}

TEST(AccountTest, NologinAndFalseAreNoShells) {
  const auto on = [](const char* shell) { return account::Account{"", 0, 0, "", shell}.ShellOn(); };
  for (const char* shell : {"/usr/sbin/nologin", "/sbin/nologin", "/bin/false", "/usr/bin/false"}) {
    EXPECT_FALSE(on(shell)) << shell;
  }
  EXPECT_TRUE(on("/bin/bash"));
  EXPECT_TRUE(on("/bin/sh"));
  EXPECT_TRUE(on(""));  // the system takes an empty field for /bin/sh
}

}  // namespace
}  // namespace panel
