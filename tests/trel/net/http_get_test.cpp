#include "client.h"
#include "client_sockets.h"
#include "raw_server.h"

namespace net_test {
namespace {

TEST(HttpGet, HandsTheBodyOnInPieces) {
  const std::string body(3 << 20, 'x');
  RawServer server({AnswerAndClose(Reply(body))});
  std::string got;
  int pieces = 0;
  const int status = Client().Get(server.url(), 0, [&](std::string_view piece) {
    got += piece;
    ++pieces;
  });
  EXPECT_EQ(status, 200);
  EXPECT_EQ(got, body);
  EXPECT_GT(pieces, 1);
}

TEST(HttpGet, IsAGetWithoutABody) {
  std::string request;
  RawServer server({[&](Wire& wire) {
    request = wire.ReadRequest();
    wire.Send(Reply("x"));
  }});
  Client().Get(server.url("/file?key=1"));
  EXPECT_EQ(request.substr(0, 26), "GET /file?key=1 HTTP/1.1\r\n");
  EXPECT_EQ(request.find("Content-"), std::string::npos);
}

TEST(HttpGet, EncodesWhatMayNotStandInAUrl) {
  std::string request;
  RawServer server({[&](Wire& wire) {
    request = wire.ReadRequest();
    wire.Send(Reply("x"));
  }});
  Client().Get(server.url("/~file?name=a b->\"#\n\xd0\xb0%20&key=1"));
  EXPECT_EQ(request.substr(0, request.find(' ', 4)),
            "GET /~file?name=a%20b-%3E%22%23%0A%D0%B0%20&key=1");
}

TEST(HttpGet, TakesAnEmptyBody) {
  RawServer server({AnswerAndClose(Reply(""))});
  EXPECT_EQ(Client().Get(server.url()), "");
}

TEST(HttpGet, TakesAChunkedBody) {
  RawServer server({AnswerAndClose(
      "HTTP/1.1 200 OK\r\nTransfer-Encoding: Chunked\r\n\r\n3\r\nabc\r\n2\r\nde\r\n0\r\n\r\n")});
  EXPECT_EQ(Client().Get(server.url()), "abcde");
}

TEST(HttpGet, FollowsARedirect) {
  RawServer server({[](Wire& wire) {
    wire.ReadRequest();
    wire.Send("HTTP/1.1 302 Found\r\nLocation: /b\r\nContent-Length: 4\r\n\r\nhere");
    if (wire.ReadRequest().substr(0, 7) == "GET /b ") wire.Send(Reply("there"));
  }});
  EXPECT_EQ(Client().Get(server.url()), "there");
}

TEST(HttpGet, DropsTheBodyOfAnotherStatus) {
  RawServer server({AnswerAndClose("HTTP/1.1 404 Not Found\r\n\r\nno such file")});
  std::string got;
  EXPECT_EQ(Client().Get(server.url(), 0, [&](std::string_view piece) { got += piece; }), 404);
  EXPECT_EQ(got, "");
}

TEST(HttpGet, DoesNotDropForEver) {
  RawServer server({[](Wire& wire) {
    wire.ReadRequest();
    wire.Send("HTTP/1.1 404 Not Found\r\n\r\n");
    const std::string piece(1 << 20, 'x');
    while (wire.Send(piece)) {
    }
  }});
  EXPECT_EQ(FailureOf([&] { Client().Get(server.url()); }),
            server.place() + ": the answer is larger than 256 MiB");
}

TEST(HttpGet, RefusesABodyWithoutAnAnnouncedEnd) {
  for (const auto* reply : {"HTTP/1.0 200 OK\r\n\r\nperhaps all", "HTTP/1.0 200 OK\r\n\r\n"}) {
    RawServer server({AnswerAndClose(reply)});
    int pieces = 0;
    EXPECT_EQ(
        FailureOf([&] { Client().Get(server.url(), 0, [&](std::string_view) { ++pieces; }); }),
        server.place() +
            ": the length of the answer is not announced, so that a cut one "
            "could not be told from a whole one");
    EXPECT_EQ(pieces, 0);
  }
}

TEST(HttpGet, RefusesABodyThatWasCutOff) {
  for (const auto* reply : {"HTTP/1.1 200 OK\r\nContent-Length: 9\r\n\r\nabc",
                            "HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n3\r\nabc\r\n"}) {
    RawServer server({AnswerAndClose(reply)});
    EXPECT_EQ(FailureOf([&] { Client().Get(server.url("/?key=hunter2")); }),
              server.place() + ": the answer was cut off");
  }
}

TEST(HttpGet, LetsThroughWhatTheSinkThrows) {
  RawServer server({AnswerAndClose(Reply("abc"))});
  EXPECT_THROW(
      Client().Get(server.url(), 0, [](std::string_view) { throw std::out_of_range("full"); }),
      std::out_of_range);
}

TEST(HttpGet, KeepsItsTimeLimit) {
  RawServer server({[](Wire& wire) { wire.WaitForClose(); }});
  EXPECT_EQ(FailureOf([&] { Client().Get(server.url(), 1); }),
            server.place() + ": no answer within 1 s");
}

TEST(HttpGet, LetsTheKernelNoticeADeadPeerWithoutATimeLimit) {
  RawServer server({[&](Wire& wire) {
    wire.ReadRequest();
    wire.Send(Reply("ok"));
    wire.WaitForClose();
  }});
  Client client;
  client.Get(server.url());
  ExpectDeadPeerIsNoticed(server.port());
}

}  // namespace
}  // namespace net_test
