#include <sys/socket.h>

#include "client.h"
#include "client_sockets.h"
#include "raw_server.h"
#include "web_server.h"

namespace net_test {
namespace {

using trel_seam::HttpPost;

/// A server that answers each request with the request itself.
class Echo : public WebServer {
 public:
  template <typename... Where>
  explicit Echo(const Where&... where) : WebServer(where...) {
    routes().Post(".*", [](const httplib::Request& request, httplib::Response& response) {
      std::string text = request.method + " " + request.path + "\n";
      for (const auto* name : {"Content-Type", "Accept-Language", "User-Agent", "Expect", "Host"})
        text += std::string(name) + "=" + request.get_header_value(name) + "\n";
      response.set_content(text + request.body, "text/plain");
    });
    Start();
  }
};

/// Bytes that a client must not touch: reserved characters, a line end, a zero, high bytes.
const std::string kOddBody("a=1&b=%26+ \r\n\0\xff?=", 18);

TEST(HttpPost, SendsTheBodyAsItStandsAsAForm) {
  Echo server;
  Client client;
  const auto reply = client.Post(server.url("/panel"), kOddBody);
  EXPECT_EQ(reply.status, 200);
  EXPECT_EQ(reply.body,
            "POST /panel\nContent-Type=application/x-www-form-urlencoded\n"
            "Accept-Language=\nUser-Agent=\nExpect=\nHost=" +
                server.place() + "\n" + kOddBody);
}

TEST(HttpPost, SendsLanguageAndAgent) {
  Echo server;
  Client client;
  HttpPost post;
  post.url = server.url();
  post.language = "de";
  post.agent = "job";
  EXPECT_EQ(client.Post(post).body,
            "POST /\nContent-Type=application/x-www-form-urlencoded\nAccept-Language=de\n"
            "User-Agent=job\nExpect=\nHost=" +
                server.place() + "\n");
}

TEST(HttpPost, SendsALargeBodyWithoutAskingFirst) {
  std::string request;
  RawServer server({[&](Wire& wire) {
    request = wire.ReadRequest();
    wire.Send(Reply("ok"));
  }});
  const std::string body(2 << 20, 'x');
  EXPECT_EQ(Client().Post(server.url(), body).body, "ok");
  EXPECT_EQ(request.find("Expect"), std::string::npos);
  EXPECT_EQ(request.substr(request.find("\r\n\r\n") + 4), body);
}

TEST(HttpPost, GoesThroughAUnixDomainSocket) {
  const Scratch scratch;
  Echo server(scratch.Path("panel.sock"));
  Client client;
  HttpPost post;
  post.url = "http://localhost/path";
  post.socket = scratch.Path("panel.sock");
  post.body = "q=1";
  const auto reply = client.Post(post);
  EXPECT_EQ(reply.body.substr(0, 11), "POST /path\n");
  EXPECT_EQ(reply.body.substr(reply.body.size() - 3), "q=1");
}

TEST(HttpPost, NamesTheSocketThatNobodyListensOn) {
  const Scratch scratch;
  Client client;
  HttpPost post;
  post.url = "http://localhost/";
  post.socket = scratch.Path("none.sock");
  EXPECT_EQ(FailureOf([&] { client.Post(post); }), post.socket + ": no such file or directory");
}

TEST(HttpPost, ReachesAnIpv6Address) {
  const Listener listener(AF_INET6);
  std::thread server([&] {
    Wire wire(listener.Accept());
    wire.ReadRequest();
    wire.Send(Reply("six"));
  });
  Client client;
  EXPECT_EQ(client.Post("http://[::1]:" + std::to_string(listener.port()) + "/").body, "six");
  server.join();
}

TEST(HttpPost, ReturnsTheReplyWhateverItsStatus) {
  WebServer server;
  server.routes().Post("/", [](const httplib::Request&, httplib::Response& response) {
    response.status = 503;
    response.set_content("busy", "text/plain");
  });
  server.Start();
  Client client;
  const auto reply = client.Post(server.url());
  EXPECT_EQ(reply.status, 503);
  EXPECT_EQ(reply.body, "busy");
}

TEST(HttpPost, KeepsOneConnectionForManyQueries) {
  Echo server;
  Client client;
  for (int i = 0; i < 50; ++i) ASSERT_EQ(client.Post(server.url()).status, 200);
  EXPECT_EQ(server.connections(), 1U);
}

TEST(HttpPost, ShakesHandsOnceForManyTlsQueries) {
  Echo server(TestCertificate());
  trel_seam::Conf conf;
  conf.ca_file = TestCertificate().file;
  Client client(conf);
  for (int i = 0; i < 50; ++i) ASSERT_EQ(client.Post(server.url()).status, 200);
  EXPECT_EQ(server.connections(), 1U);
}

TEST(HttpPost, IgnoresProxiesOfTheEnvironment) {
  setenv("http_proxy", "http://127.0.0.1:1", 1);
  Echo server;
  Client client;
  EXPECT_EQ(client.Post(server.url()).status, 200);
  unsetenv("http_proxy");
}

TEST(HttpPost, LetsTheKernelNoticeADeadPeer) {
  RawServer server({[](Wire& wire) {
    wire.ReadRequest();
    wire.Send(Reply("ok"));
    wire.WaitForClose();
  }});
  Client client;
  client.Post(server.url());
  ExpectDeadPeerIsNoticed(server.port());
}

}  // namespace
}  // namespace net_test
