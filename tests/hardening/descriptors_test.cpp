// What a child process could inherit while the log, a panel's connection and a host's are open.

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/socket.h>

#include <filesystem>
#include <set>

#include "seam/seam.h"
#include "sshd.h"
#include "support/forked.h"
#include "support/scratch.h"
#include "trel/trel_log.h"
#include "trel/trel_proc.h"
#include "web_server.h"

namespace {

namespace fs = std::filesystem;

/// Our descriptors, each with what it leads to; also the one by which they are read, which is
/// closed again.
std::set<std::pair<int, std::string>> Descriptors() {
  std::set<std::pair<int, std::string>> descriptors;
  for (const auto& entry : fs::directory_iterator("/proc/self/fd")) {
    std::error_code gone;
    const auto target = fs::read_symlink(entry, gone);
    descriptors.emplace(std::stoi(entry.path().filename()), target);
  }
  return descriptors;
}

/// One of a pair that libcurl wakes itself with. It lets nobody set their options; a child does not
/// get them either, see below.
bool IsOneOfAPair(int descriptor) {
  sockaddr_storage peer{};
  socklen_t size = sizeof peer;
  return getpeername(descriptor, reinterpret_cast<sockaddr*>(&peer), &size) == 0 &&
         peer.ss_family == AF_UNIX && size == sizeof peer.ss_family;
}

/// The address that a socket has itself, as the system gives it; "" if it is no socket.
std::string AddressOf(int descriptor) {
  sockaddr_storage address{};
  socklen_t size = sizeof address;
  if (getsockname(descriptor, reinterpret_cast<sockaddr*>(&address), &size) != 0) return "";
  return {reinterpret_cast<const char*>(&address), size};
}

/// Where the servers among the descriptors listen. What they accept has the same addresses.
std::set<std::string> Listeners(const std::set<std::pair<int, std::string>>& descriptors) {
  std::set<std::string> listeners;
  for (const auto& [number, target] : descriptors) {
    int listens = 0;
    socklen_t size = sizeof listens;
    if (getsockopt(number, SOL_SOCKET, SO_ACCEPTCONN, &listens, &size) == 0 && listens != 0) {
      listeners.insert(AddressOf(number));
    }
  }
  return listeners;
}

// The servers run in the new process too: one that is forked while threads run may find locked for
// ever what they held.
TEST(Descriptors, OfThePlatformStayInItsProcess) {
  REQUIRE_ROOT();
  EXPECT_TRUE(support::HoldsWhenForked([] {
    const support::Scratch scratch;
    const auto conf = scratch.Write("trel.toml", "log.dir = '" + scratch.Path("log") + "'\n");
    const net_test::Sshd sshd;
    net_test::WebServer remote;
    net_test::WebServer local(scratch.Path("panel.sock"));
    for (auto* server : {&remote, &local}) {
      server->routes().Post("/",
                            [](const auto&, auto& response) { response.set_content("x", "a/b"); });
      server->Start();
    }
    setenv("TREL_CONF", conf.c_str(), 1);
    const auto before = Descriptors();
    trel_log::Init("job", 9);
    const auto http = trel_seam::MakeHttp(trel_seam::Conf());
    trel_seam::HttpPost post;
    post.url = remote.url();
    EXPECT_EQ(http->Post(post).body, "x");
    post.socket = scratch.Path("panel.sock");
    EXPECT_EQ(http->Post(post).body, "x");
    const auto connection = trel_seam::MakeSsh(sshd.conf())->Connect(sshd.target());

    std::vector<std::string> opened;
    for (const auto& [number, target] : Descriptors()) {
      if (before.contains({number, target}) || fcntl(number, F_GETFD) < 0) continue;
      if (IsOneOfAPair(number) || Listeners(before).contains(AddressOf(number))) continue;
      opened.push_back(target);
      EXPECT_NE(fcntl(number, F_GETFD) & FD_CLOEXEC, 0) << target;
    }
    EXPECT_THAT(opened, testing::Contains(scratch.Path("log/job.log")));
    EXPECT_THAT(opened, testing::Contains(testing::StartsWith("socket:")).Times(3));

    trel_proc::Execute child("ls /proc/$$/fd; true", 6);
    EXPECT_EQ(child.Str(), "0\n1\n2\n");
  }));
}

}  // namespace
