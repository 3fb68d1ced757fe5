// The faults that the matrix raises at the seam, for real: what a server on the loopback device
// does to the first query of a job, and to a dump, is told in the words of the matrix.

#include <gtest/gtest.h>

#include <map>
#include <ostream>

#include "client.h"
#include "faults/fault.h"
#include "raw_server.h"
#include "support/scratch.h"
#include "support/seam.h"

extern "C" int vormain(int argc, char** argv);

namespace faults {

/// How a failed test names its parameter.
void PrintTo(const Fault& fault, std::ostream* out) {
  *out << fault.name;
}

namespace {

using net_test::AnswerAndClose;
using net_test::Listener;
using net_test::RawServer;
using net_test::Reply;
using net_test::Wire;

/// What the server does when it has read the query.
const std::map<std::string, RawServer::Script>& Scripts() {
  const RawServer::Script reset = [](Wire& wire) {
    wire.ReadRequest();
    wire.Reset();
  };
  static const std::map<std::string, RawServer::Script> scripts{
      {"reset before it acted", reset},
      {"reset after it acted", reset},
      {"closed without an answer", AnswerAndClose("")},
      {"answer cut off", AnswerAndClose("HTTP/1.1 200 OK\r\nContent-Length: 10\r\n\r\n<doc>")},
      {"answer without end",
       AnswerAndClose("HTTP/1.1 200 OK\r\nContent-Length: 268435457\r\n\r\n<doc>")},
      {"answer that is not HTTP", AnswerAndClose("SSH-2.0-OpenSSH_9.2\r\n")},
  };
  return scripts;
}

/// What `vormain` throws when the source panel is at `url`.
std::string ThrownFor(const std::string& url) {
  const support::Scratch folder;
  const support::SeamKeeper keeper;
  trel_seam::Current() = {std::make_shared<net_test::Client>(), trel_seam::MakeSsh(),
                          trel_seam::MakeProcesses(), trel_seam::MakeHost(),
                          std::make_shared<support::KeptLog>()};
  std::string params =
      folder.Write("params", "remote_type = vortrel4\nusername = user1\nurl = " + url +
                                 "\nroot_auth = S3-admin-key\n");
  std::string name = "tarvin";
  char* argv[] = {name.data(), params.data(), nullptr};
  const auto thrown = support::ErrorOf([&] { vormain(2, argv); });
  EXPECT_EQ(folder.Names(), std::vector<std::string>{"params"});
  return thrown;
}

class RealFaults : public testing::TestWithParam<Fault> {};

TEST_P(RealFaults, AreToldInTheWordsOfTheMatrix) {
  const auto& fault = GetParam();
  if (fault.kind == Fault::Kind::kReply) {
    RawServer server({AnswerAndClose("HTTP/1.1 " + std::to_string(fault.status) +
                                     " X\r\nContent-Length: " + std::to_string(fault.body.size()) +
                                     "\r\n\r\n" + fault.body)});
    const auto thrown = ThrownFor(server.url("/panel"));
    const bool denied = fault.name == "permission denied";
    const std::string says = denied ? "func_access: user.edit" : fault.says;
    EXPECT_NE(thrown.find(says), std::string::npos) << thrown;
  } else if (!fault.sent) {
    const std::string place = "127.0.0.1:" + std::to_string(Listener().port());
    EXPECT_EQ(ThrownFor("http://" + place + "/panel"),
              "remote: query: " + place + ": " + fault.text);
  } else {
    RawServer server({Scripts().at(fault.name)});
    EXPECT_EQ(ThrownFor(server.url("/panel")),
              "remote: query: " + server.place() + ": " + fault.text);
  }
}

std::string NameOfParam(const testing::TestParamInfo<Fault>& info) {
  std::string name = info.param.name;
  for (char& c : name) {
    if (c == ' ') c = '_';
  }
  return name;
}

INSTANTIATE_TEST_SUITE_P(Queries, RealFaults,
                         testing::ValuesIn(FaultsOf({Channel::kLocalPanel, "", ""})), NameOfParam);

TEST(RealTimeouts, AreToldInTheWordsOfTheMatrix) {
  RawServer server({[](Wire& wire) {
    wire.ReadRequest();
    wire.WaitForClose();
  }});
  net_test::Client client;
  trel_seam::HttpPost post;
  post.url = server.url();
  post.timeout = 1;
  EXPECT_EQ(net_test::FailureOf([&] { client.Post(post); }),
            server.place() + ": " + TimeoutText(1));
}

}  // namespace
}  // namespace faults
