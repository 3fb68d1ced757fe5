#include <sys/socket.h>

#include <atomic>

#include "client.h"
#include "raw_server.h"

namespace net_test {
namespace {

using trel_seam::HttpPost;

constexpr char kSecret[] = "password=hunter2";

/// The failure of a query with a secret, which must not be in it.
std::string PostFailure(const std::string& url, int timeout = 0) {
  Client client;
  HttpPost post;
  post.url = url;
  post.body = kSecret;
  post.timeout = timeout;
  const auto text = FailureOf([&] { client.Post(post); });
  EXPECT_EQ(text.find("hunter2"), std::string::npos) << text;
  return text;
}

/// The failure when the server sends `reply` and closes.
std::string FailureAfter(const std::string& reply) {
  RawServer server({AnswerAndClose(reply)});
  const auto text = PostFailure(server.url());
  EXPECT_EQ(text.substr(0, server.place().size() + 2), server.place() + ": ");
  return text.substr(std::min(text.size(), server.place().size() + 2));
}

TEST(HttpFailures, AreOneLineForARefusedConnection) {
  const auto place = "127.0.0.1:" + std::to_string(Listener().port());
  EXPECT_EQ(PostFailure("http://user:hunter2@" + place + "/?password=hunter2"),
            place + ": connection refused");
}

TEST(HttpFailures, NameAHostThatHasNoAddress) {
  EXPECT_EQ(PostFailure("http://nowhere.invalid:1500/"),
            "nowhere.invalid:1500: the host name cannot be resolved");
}

TEST(HttpFailures, RefuseWhatIsNoHttpUrl) {
  EXPECT_EQ(PostFailure("ftp://src.example/?hunter2"),
            "src.example:21: neither http:// nor https://");
  EXPECT_EQ(PostFailure("src.example?hunter2"), "(not a URL): neither http:// nor https://");
  EXPECT_EQ(PostFailure("http://src.example:x/?hunter2"),
            "(not a URL): URL using bad/illegal format or missing URL");
}

TEST(HttpFailures, SayThatNoAnswerCame) {
  RawServer server({[](Wire& wire) {
    wire.ReadRequest();
    wire.WaitForClose();
  }});
  EXPECT_EQ(PostFailure(server.url(), 1), server.place() + ": no answer within 1 s");
}

TEST(HttpFailures, SayThatTheAnswerDidNotEndInTime) {
  RawServer server({[](Wire& wire) {
    wire.ReadRequest();
    wire.Send("HTTP/1.1 200 OK\r\nContent-Length: 10\r\n\r\nabc");
    wire.WaitForClose();
  }});
  EXPECT_EQ(PostFailure(server.url(), 1),
            server.place() + ": the answer was not complete within 1 s");
}

TEST(HttpFailures, SayThatNoConnectionCameInTime) {
  // A TLS handshake that is never answered is a connection that never comes about.
  RawServer server({[](Wire& wire) { wire.WaitForClose(); }});
  EXPECT_EQ(PostFailure("https://" + server.place() + "/", 1),
            server.place() + ": no connection within 1 s");
}

TEST(HttpFailures, SayThatTheConnectionWasClosedWithoutAnAnswer) {
  EXPECT_EQ(FailureAfter(""), "the connection was closed without an answer");
}

TEST(HttpFailures, SayThatTheConnectionWasReset) {
  RawServer server({[](Wire& wire) {
    wire.ReadRequest();
    wire.Reset();
  }});
  EXPECT_EQ(PostFailure(server.url()),
            server.place() + ": the exchange broke off: connection reset by peer");
}

TEST(HttpFailures, SayThatTheConnectionWasResetWhileTheRequestWasSent) {
  RawServer server({[](Wire& wire) {
    wire.StayOpen(std::chrono::seconds(10));
    wire.Reset();
  }});
  Client client;
  const auto text = FailureOf([&] { client.Post(server.url(), std::string(64 << 20, 'x')); });
  const auto place = server.place() + ": the exchange broke off: ";
  EXPECT_TRUE(text == place + "connection reset by peer" || text == place + "broken pipe") << text;
}

TEST(HttpFailures, SayThatTheBodyWasCutOff) {
  EXPECT_EQ(FailureAfter("HTTP/1.1 200 OK\r\nContent-Length: 10\r\n\r\nabc"),
            "the answer was cut off");
  EXPECT_EQ(FailureAfter("HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n5\r\nabc"),
            "the answer was cut off");
  EXPECT_EQ(FailureAfter("HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n3\r\nabc\r\n"),
            "the answer was cut off");
}

TEST(HttpFailures, SayThatTheAnswerIsNotHttp) {
  EXPECT_EQ(FailureAfter("SSH-2.0-OpenSSH_9.2\r\n"), "the answer is not HTTP");
}

TEST(HttpFailures, ShowWhatIsWrongWithAChunk) {
  EXPECT_EQ(FailureAfter("HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\nzz\r\nabc"),
            "the exchange broke off: illegal or missing hexadecimal sequence in "
            "chunked-encoding");
}

TEST(HttpFailures, ShowWhatIsWrongWithATlsHandshake) {
  RawServer server({[](Wire& wire) {
    wire.Send("HTTP/1.1 400 Bad Request\r\n\r\n");
    wire.WaitForClose();
  }});
  const auto text = PostFailure("https://" + server.place() + "/");
  EXPECT_NE(text.find("wrong version number"), std::string::npos) << text;
}

TEST(HttpFailures, AcceptAPostedReplyThatEndsWithTheConnection) {
  RawServer server({AnswerAndClose("HTTP/1.0 200 OK\r\n\r\nall of it")});
  EXPECT_EQ(Client().Post(server.url()).body, "all of it");
}

TEST(HttpFailures, RefuseAReplyThatIsAnnouncedTooLarge) {
  EXPECT_EQ(FailureAfter("HTTP/1.1 200 OK\r\nContent-Length: 268435457\r\n\r\nabc"),
            "the answer is larger than 256 MiB");
}

TEST(HttpFailures, RefuseAReplyThatGrowsTooLarge) {
  std::atomic<std::size_t> sent = 0;
  RawServer server({[&](Wire& wire) {
    wire.ReadRequest();
    wire.Send("HTTP/1.1 200 OK\r\n\r\n");
    const std::string piece(1 << 20, 'x');
    while (wire.Send(piece)) sent += piece.size();
  }});
  EXPECT_EQ(PostFailure(server.url()), server.place() + ": the answer is larger than 256 MiB");
  EXPECT_GE(sent, 255U << 20);
}

TEST(HttpFailures, DoNotCountForAReplyOfExactlyTheLimit) {
  const std::size_t limit = 256 << 20;
  RawServer server({[&](Wire& wire) {
    wire.ReadRequest();
    wire.Send("HTTP/1.1 200 OK\r\nContent-Length: " + std::to_string(limit) + "\r\n\r\n");
    const std::string piece(1 << 20, 'x');
    for (std::size_t sent = 0; sent < limit; sent += piece.size()) wire.Send(piece);
  }});
  EXPECT_EQ(Client().Post(server.url()).body.size(), limit);
}

}  // namespace
}  // namespace net_test
