#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>

#include "client.h"
#include "framework_error.h"
#include "raw_server.h"
#include "scratch.h"
#include "seam/seam.h"
#include "trel/trel_rpc.h"

namespace net_test {
namespace {

namespace fs = std::filesystem;

class Fetch : public testing::Test {
 protected:
  Fetch() { trel_seam::Current().http = std::make_shared<Client>(); }
  ~Fetch() override { trel_seam::Current().http = trel_seam::MakeHttp(); }

  /// Fetches from a server that sends `reply`.
  void FetchReply(const std::string& reply) {
    RawServer server({AnswerAndClose(reply)});
    place_ = server.place();
    trel_rpc::FetchFile(server.url("/file?auth=hunter2"), path_, 0);
  }
  /// The error of that, with SERVER for the server's name. It must leave nothing behind and show
  /// nothing of the query.
  CaughtError Refusal(const std::string& reply) {
    const auto before = scratch_.Names();
    auto error = FrameworkErrorOf([&] { FetchReply(reply); });
    EXPECT_EQ(scratch_.Names(), before);
    for (auto* text : {&error.name, &error.message}) {
      EXPECT_EQ(text->find("hunter2"), std::string::npos) << *text;
      if (const auto at = text->find(place_); at != std::string::npos)
        text->replace(at, place_.size(), "SERVER");
    }
    return error;
  }

  Scratch scratch_;
  std::string path_ = scratch_.Path("target");
  std::string place_;
};

TEST_F(Fetch, PutsTheWholeFileInItsPlace) {
  std::string body(3 << 20, '\0');
  for (std::size_t i = 0; i < body.size(); ++i) body[i] = static_cast<char>(i * 2654435761U >> 24);
  FetchReply(Reply(body));
  EXPECT_TRUE(ReadFile(path_) == body);
  EXPECT_EQ(ModeOf(path_), 0600U);
  EXPECT_EQ(scratch_.Names(), std::vector<std::string>{"target"});
}

TEST_F(Fetch, TakesAnEmptyFile) {
  FetchReply(Reply(""));
  EXPECT_TRUE(fs::is_regular_file(path_));
}

TEST_F(Fetch, KeepsTheModeOfTheFileThatWasThere) {
  scratch_.Write("target", "old");
  fs::permissions(path_, fs::perms(0640));
  FetchReply(Reply("new"));
  EXPECT_EQ(ReadFile(path_), "new");
  EXPECT_EQ(ModeOf(path_), 0640U);
}

TEST_F(Fetch, ReplacesALinkAndLeavesWhatItLedTo) {
  const auto other = scratch_.Write("other", "precious");
  fs::permissions(other, fs::perms(0666));
  fs::create_symlink(other, path_);
  FetchReply(Reply("new"));
  EXPECT_EQ(ReadFile(other), "precious");
  EXPECT_EQ(ReadFile(path_), "new");
  EXPECT_TRUE(fs::is_regular_file(fs::symlink_status(path_)));
  EXPECT_EQ(ModeOf(path_), 0600U);
}

TEST_F(Fetch, TakesANameWithoutADirectory) {
  const auto before = fs::current_path();
  fs::current_path(scratch_.Path(""));
  path_ = "plain";
  FetchReply(Reply("x"));
  fs::current_path(before);
  EXPECT_EQ(scratch_.Names(), std::vector<std::string>{"plain"});
}

TEST_F(Fetch, LeavesTheOldFileWhenTheNewOneIsCutOff) {
  scratch_.Write("target", "old");
  const auto error = Refusal("HTTP/1.1 200 OK\r\nContent-Length: 10\r\n\r\nabc");
  EXPECT_EQ(error.name, "remote: fetch: SERVER: the answer was cut off");
  EXPECT_EQ(error.message, "SERVER: the answer was cut off");
  EXPECT_EQ(ReadFile(path_), "old");
}

TEST_F(Fetch, RefusesAFileWithoutAnAnnouncedEnd) {
  EXPECT_EQ(Refusal("HTTP/1.0 200 OK\r\n\r\nabc").name,
            "remote: fetch: SERVER: the length of the answer is not announced, so that a cut one "
            "could not be "
            "told from a whole one");
}

TEST_F(Fetch, RefusesAnotherStatus) {
  EXPECT_EQ(Refusal("HTTP/1.1 404 Not Found\r\nContent-Length: 4\r\n\r\nnone").name,
            "remote: fetch: SERVER: answered with status 404");
  EXPECT_EQ(Refusal("HTTP/1.1 206 Partial Content\r\nContent-Length: 4\r\n\r\npart").name,
            "remote: fetch: SERVER: answered with status 206");
}

TEST_F(Fetch, RefusesAnErrorDocumentInPlaceOfTheFile) {
  const std::string document = "<doc><error type=\"x\"><msg>no such user</msg></error></doc>";
  const std::string blanks(4096, '\n');
  for (const std::string head :
       {"", "\xEF\xBB\xBF", "\r\n\t ", "<?xml version=\"1.0\"?>\n", blanks.c_str()}) {
    const auto error = Refusal(Reply(head + document));
    EXPECT_EQ(error.name, "remote: fetch: SERVER: no such user");
    EXPECT_EQ(error.message, "no such user");
  }
  EXPECT_EQ(Refusal(Reply("<doc><error/></doc>")).name,
            "remote: fetch: SERVER: an error without a message");
}

TEST_F(Fetch, RefusesAnErrorDocumentThatComesByteByByte) {
  std::string reply = "HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n";
  for (const char c : std::string("\xEF\xBB\xBF \n<doc><error><msg>no</msg></error></doc>"))
    reply += std::string("1\r\n") + c + "\r\n";
  EXPECT_EQ(Refusal(reply + "0\r\n\r\n").name, "remote: fetch: SERVER: no");
}

TEST_F(Fetch, TakesOtherDocumentsForFiles) {
  const std::string error = "<doc><error><msg>no</msg></error>";
  const std::vector<std::string> bodies{
      "<html><body>error</body></html>",
      error,
      "text " + error + "</doc>",
      "< 3",
      " \n",
      error + std::string(1 << 20, ' ') + "</doc>",
  };
  for (const auto& body : bodies) {
    FetchReply(Reply(body));
    EXPECT_EQ(ReadFile(path_), body);
  }
}

TEST_F(Fetch, NamesADirectoryThatIsNotThere) {
  path_ = scratch_.Path("none/target");
  EXPECT_EQ(Refusal(Reply("x")).name, "remote: fetch: " + path_ + ": no such file or directory");
}

TEST_F(Fetch, NamesAPathThatIsADirectory) {
  fs::create_directory(path_);
  EXPECT_EQ(Refusal(Reply("x")).name, "remote: fetch: " + path_ + ": is a directory");
}

TEST_F(Fetch, NamesAFileThatCannotBeWritten) {
  rlimit old{};
  getrlimit(RLIMIT_FSIZE, &old);
  const auto handler = signal(SIGXFSZ, SIG_IGN);
  const rlimit small{1 << 16, old.rlim_max};
  setrlimit(RLIMIT_FSIZE, &small);
  const auto name = Refusal(Reply(std::string(1 << 20, 'x'))).name;
  setrlimit(RLIMIT_FSIZE, &old);
  signal(SIGXFSZ, handler);
  EXPECT_EQ(name, "remote: fetch: " + path_ + ": file too large");
}

}  // namespace
}  // namespace net_test
