#include "client_sockets.h"

#include <gtest/gtest.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>

#include <filesystem>

namespace net_test {
namespace {

int Option(int socket, int level, int option) {
  int value = 0;
  socklen_t size = sizeof value;
  getsockopt(socket, level, option, &value, &size);
  return value;
}

}  // namespace

std::vector<int> SocketsTo(int port) {
  std::vector<int> found;
  for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd")) {
    const int socket = std::stoi(entry.path().filename());
    sockaddr_in peer{};
    socklen_t size = sizeof peer;
    if (getpeername(socket, reinterpret_cast<sockaddr*>(&peer), &size) == 0 &&
        peer.sin_family == AF_INET && ntohs(peer.sin_port) == port) {
      found.push_back(socket);
    }
  }
  return found;
}

void ExpectDeadPeerIsNoticed(int port) {
  const auto sockets = SocketsTo(port);
  ASSERT_EQ(sockets.size(), 1U);
  const int socket = sockets.front();
  EXPECT_EQ(Option(socket, SOL_SOCKET, SO_KEEPALIVE), 1);
  const int idle = Option(socket, IPPROTO_TCP, TCP_KEEPIDLE);
  const int probes =
      Option(socket, IPPROTO_TCP, TCP_KEEPINTVL) * Option(socket, IPPROTO_TCP, TCP_KEEPCNT);
  EXPECT_LE(idle + probes, 20);
  EXPECT_EQ(Option(socket, IPPROTO_TCP, TCP_USER_TIMEOUT), 15'000);
}

void ExpectSmallPiecesAreSent(int port) {
  const auto sockets = SocketsTo(port);
  ASSERT_EQ(sockets.size(), 1U);
  EXPECT_EQ(Option(sockets.front(), IPPROTO_TCP, TCP_NODELAY), 1);
}

}  // namespace net_test
