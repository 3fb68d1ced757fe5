#include <atomic>
#include <chrono>
#include <future>

#include "client.h"
#include "raw_server.h"
#include "web_server.h"

namespace net_test {
namespace {

using trel_seam::HttpPost;

constexpr char kDoubt[] = "; whether the request was carried out is not known";

/// Counts the requests whose header and body came in whole.
class Counter {
 public:
  void Read(Wire& wire) {
    if (!wire.ReadRequest().empty()) ++count_;
  }
  int count() const { return count_; }

 private:
  std::atomic<int> count_ = 0;
};

HttpPost Submission(const std::string& url) {
  HttpPost post;
  post.url = url;
  post.body = "func=x&sok=ok";
  post.at_most_once = true;
  return post;
}

std::string Redirect(const std::string& where, const std::string& status = "302 Found") {
  return "HTTP/1.1 " + status + "\r\nLocation: " + where + "\r\nContent-Length: 5\r\n\r\nmoved";
}

/// Answers one request, and ends the connection once it got a second one.
RawServer::Script AnswerOnceThenDie(Counter& counter) {
  return [&](Wire& wire) {
    counter.Read(wire);
    wire.Send(Reply("first"));
    counter.Read(wire);
  };
}

RawServer::Script AnswerAll(Counter& counter, const std::string& text) {
  return [&counter, text](Wire& wire) {
    do {
      counter.Read(wire);
    } while (wire.Send(Reply(text)) && counter.count() < 10);
  };
}

TEST(HttpRepeat, SendsAQueryAgainWhenTheKeptConnectionTurnedOutDead) {
  Counter counter;
  RawServer server({AnswerOnceThenDie(counter), AnswerAndClose(Reply("second"))});
  Client client;
  EXPECT_EQ(client.Post(server.url()).body, "first");
  EXPECT_EQ(client.Post(server.url()).body, "second");
  EXPECT_EQ(server.connections(), 2);
}

TEST(HttpRepeat, DoesNotSendAgainWhatFailedOnAFreshConnection) {
  Counter counter;
  const auto die = [&](Wire& wire) { counter.Read(wire); };
  RawServer server({die, die});
  Client client;
  FailureOf([&] { client.Post(server.url()); });
  EXPECT_EQ(counter.count(), 1);
  EXPECT_EQ(server.connections(), 1);
}

TEST(HttpRepeat, MakesAFreshConnectionForASubmission) {
  Counter counter;
  RawServer server({AnswerAll(counter, "kept"), AnswerAndClose(Reply("fresh"))});
  Client client;
  EXPECT_EQ(client.Post(server.url()).body, "kept");
  EXPECT_EQ(client.Post(Submission(server.url())).body, "fresh");
  EXPECT_EQ(server.connections(), 2);
}

TEST(HttpRepeat, ClosesTheConnectionOfASubmission) {
  std::promise<bool> closed;
  RawServer server({[&](Wire& wire) {
    wire.ReadRequest();
    wire.Send(Reply("fresh"));
    closed.set_value(wire.ReadRequest().empty());
  }});
  Client client;
  EXPECT_EQ(client.Post(Submission(server.url())).body, "fresh");
  auto ended = closed.get_future();
  ASSERT_EQ(ended.wait_for(std::chrono::seconds(10)), std::future_status::ready);
  EXPECT_TRUE(ended.get());
}

TEST(HttpRepeat, NeverSendsASubmissionAgain) {
  Counter counter;
  const auto close = [&](Wire& wire) { counter.Read(wire); };
  const auto reset = [&](Wire& wire) {
    counter.Read(wire);
    wire.Reset();
  };
  for (const RawServer::Script& end : {RawServer::Script(close), RawServer::Script(reset)}) {
    Counter kept;
    RawServer server({AnswerAll(kept, "kept"), end, end, end});
    Client client;
    client.Post(server.url());
    const int before = counter.count();
    const auto text = FailureOf([&] { client.Post(Submission(server.url())); });
    EXPECT_NE(text.find(kDoubt), std::string::npos) << text;
    EXPECT_EQ(counter.count(), before + 1);
    EXPECT_EQ(server.connections(), 2);
  }
}

TEST(HttpRepeat, NeverSendsASubmissionAgainThatWasResetUnread) {
  RawServer server({[](Wire& wire) { wire.Reset(); }});
  Client client;
  const auto text = FailureOf([&] { client.Post(Submission(server.url())); });
  EXPECT_EQ(text.substr(0, server.place().size()), server.place());
  EXPECT_EQ(server.connections(), 1);
}

TEST(HttpRepeat, SaysThatACutAnswerToASubmissionLeavesItsOutcomeOpen) {
  RawServer server({AnswerAndClose("HTTP/1.1 200 OK\r\nContent-Length: 9\r\n\r\nabc")});
  Client client;
  EXPECT_EQ(FailureOf([&] { client.Post(Submission(server.url())); }),
            server.place() + ": the answer was cut off" + kDoubt);
}

TEST(HttpRepeat, HasNoDoubtAboutASubmissionThatNeverLeft) {
  const auto url = "http://127.0.0.1:" + std::to_string(Listener().port()) + "/";
  Client client;
  const auto text = FailureOf([&] { client.Post(Submission(url)); });
  EXPECT_NE(text.find("connection refused"), std::string::npos);
  EXPECT_EQ(text.find(kDoubt), std::string::npos);
}

TEST(HttpRepeat, FollowsARedirectWithMethodAndBody) {
  for (const auto* status : {"301 Moved Permanently", "302 Found", "303 See Other",
                             "307 Temporary Redirect", "308 Permanent Redirect"}) {
    std::string second;
    RawServer server({[&](Wire& wire) {
      wire.ReadRequest();
      wire.Send(Redirect("/there?x=1", status));
      second = wire.ReadRequest();
      wire.Send(Reply("arrived"));
    }});
    EXPECT_EQ(Client().Post(server.url(), "a=1&b=2").body, "arrived") << status;
    EXPECT_EQ(second.substr(0, 25), "POST /there?x=1 HTTP/1.1\r") << status;
    EXPECT_EQ(second.substr(second.size() - 7), "a=1&b=2") << status;
    EXPECT_EQ(server.connections(), 1) << status;
  }
}

TEST(HttpRepeat, FollowsARedirectThatSpellsTheSamePlaceInFull) {
  RawServer* self = nullptr;
  RawServer server({[&](Wire& wire) {
    wire.ReadRequest();
    wire.Send(Redirect("HTTP://LocalHost:" + std::to_string(self->port()) + "/x"));
    wire.ReadRequest();
    wire.Send(Reply("arrived"));
  }});
  self = &server;
  const auto url = "http://localhost:" + std::to_string(server.port()) + "/";
  EXPECT_EQ(Client().Post(url).body, "arrived");
}

TEST(HttpRepeat, FollowsNoRedirectToAnotherPlace) {
  Counter other_requests;
  RawServer other({AnswerAll(other_requests, "stolen")});
  for (const auto& where : {other.url("/?hunter2"), "https://" + other.place() + "/?hunter2",
                            std::string("ftp://127.0.0.1/"), std::string("http://localhost/")}) {
    RawServer server({AnswerAndClose(Redirect(where))});
    EXPECT_EQ(FailureOf([&] { Client().Post(server.url()); }),
              server.place() + ": redirects to another place, which is not followed");
  }
  EXPECT_EQ(other_requests.count(), 0);
}

TEST(HttpRepeat, FollowsNoRedirectToAnotherSchemeOnTheSamePort) {
  RawServer* self = nullptr;
  RawServer server({[&](Wire& wire) {
    wire.ReadRequest();
    wire.Send(Redirect("https://" + self->place() + "/"));
  }});
  self = &server;
  EXPECT_NE(FailureOf([&] { Client().Post(server.url()); }).find("not followed"),
            std::string::npos);
  EXPECT_EQ(server.connections(), 1);
}

TEST(HttpRepeat, GivesUpARoundOfRedirects) {
  Counter counter;
  RawServer server({[&](Wire& wire) {
    do {
      counter.Read(wire);
    } while (wire.Send(Redirect("/again")) && counter.count() < 20);
  }});
  EXPECT_EQ(FailureOf([&] { Client().Post(server.url()); }),
            server.place() + ": redirects more than five times");
  EXPECT_EQ(counter.count(), 6);
}

TEST(HttpRepeat, FollowsNoRedirectOfASubmission) {
  Counter counter;
  RawServer server({[&](Wire& wire) {
    counter.Read(wire);
    wire.Send(Redirect("/there"));
    counter.Read(wire);
  }});
  EXPECT_EQ(FailureOf([&] { Client().Post(Submission(server.url())); }),
            server.place() + ": redirects a request that is sent only once");
  EXPECT_EQ(counter.count(), 1);
}

TEST(HttpRepeat, CountsTheTimeLimitOverAllRedirects) {
  RawServer server({[](Wire& wire) {
    for (const auto& answer : {Redirect("/slow"), Reply("late")}) {
      wire.ReadRequest();
      wire.StayOpen(std::chrono::milliseconds(700));
      wire.Send(answer);
    }
  }});
  HttpPost post;
  post.url = server.url();
  post.timeout = 1;
  EXPECT_EQ(FailureOf([&] { Client().Post(post); }), server.place() + ": no answer within 1 s");
}

TEST(HttpRepeat, IsLeftToNoLaterVersionOfHttp) {
  WebServer server(TestCertificate());
  std::string offered;
  SSL_CTX_set_alpn_select_cb(
      dynamic_cast<httplib::SSLServer&>(server.routes()).ssl_context(),
      [](SSL*, const unsigned char**, unsigned char*, const unsigned char* names, unsigned size,
         void* kept) {
        *static_cast<std::string*>(kept) = {reinterpret_cast<const char*>(names), size};
        return SSL_TLSEXT_ERR_NOACK;
      },
      &offered);
  server.Start();
  trel_seam::Conf conf;
  conf.ca_file = TestCertificate().file;
  Client(conf).Post(server.url());
  EXPECT_EQ(offered, "\x08http/1.1");
}

}  // namespace
}  // namespace net_test
