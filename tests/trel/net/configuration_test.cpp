#include "client.h"
#include "seam/seam.h"
#include "web_server.h"

namespace net_test {
namespace {

/// Ends this process with 0 when a query is answered under the configuration in `file`.
[[noreturn]] void AskWith(const std::string& file, const std::string& url) {
  setenv("TREL_CONF", file.c_str(), 1);
  trel_seam::HttpPost post;
  post.url = url;
  try {
    std::_Exit(trel_seam::MakeHttp()->Post(post).body == "in" ? 0 : 1);
  } catch (const trel_seam::HttpFailure&) {
    std::_Exit(2);
  }
}

TEST(ConfigurationDeathTest, IsThatOfTheProcessUnlessAnotherIsGiven) {
  // Each process reads its configuration once: this test goes on in one that was just started.
  testing::FLAGS_gtest_death_test_style = "threadsafe";
  WebServer server(TestCertificate());
  server.routes().Post("/", [](const httplib::Request&, httplib::Response& response) {
    response.set_content("in", "text/plain");
  });
  server.Start();
  const Scratch scratch;
  const auto file = scratch.Write("trel.toml", "[tls]\npins = { \"" + server.place() + "\" = \"" +
                                                   TestCertificate().pin + "\" }\n");
  const auto none = scratch.Write("none.toml", "");
  EXPECT_EXIT(AskWith(file, server.url()), testing::ExitedWithCode(0), "");
  EXPECT_EXIT(AskWith(none, server.url()), testing::ExitedWithCode(2), "");
}

}  // namespace
}  // namespace net_test
