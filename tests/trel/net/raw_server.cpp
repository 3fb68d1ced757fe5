#include "raw_server.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>

#include <algorithm>
#include <stdexcept>

namespace net_test {
namespace {

/// The bytes of body that a request's header announces.
std::size_t BodyLength(std::string_view header) {
  constexpr std::string_view kName = "Content-Length: ";
  const auto at = header.find(kName);
  return at == std::string_view::npos
             ? 0
             : std::stoul(std::string(header.substr(at + kName.size(), 20)));
}

}  // namespace

Listener::Listener(int family) : socket_(socket(family, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
  sockaddr_storage address{};
  socklen_t size = sizeof address;
  address.ss_family = static_cast<sa_family_t>(family);
  auto* in = reinterpret_cast<sockaddr_in*>(&address);
  auto* in6 = reinterpret_cast<sockaddr_in6*>(&address);
  if (family == AF_INET)
    in->sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  else
    in6->sin6_addr = in6addr_loopback;
  auto* any = reinterpret_cast<sockaddr*>(&address);
  const socklen_t length = family == AF_INET ? sizeof *in : sizeof *in6;
  if (bind(socket_.get(), any, length) != 0 || listen(socket_.get(), 128) != 0 ||
      getsockname(socket_.get(), any, &size) != 0) {
    throw std::runtime_error("no listening socket for the test");
  }
  port_ = ntohs(family == AF_INET ? in->sin_port : in6->sin6_port);
}

Descriptor Listener::Accept() const {
  return Descriptor(accept4(socket_.get(), nullptr, nullptr, SOCK_CLOEXEC));
}

void Listener::Stop() const {
  shutdown(socket_.get(), SHUT_RDWR);
}

bool Wire::Fill() {
  char piece[65536];
  const auto size = recv(socket_.get(), piece, sizeof piece, 0);
  if (size > 0) buffer_.append(piece, static_cast<std::size_t>(size));
  return size > 0;
}

std::string Wire::ReadRequest() {
  constexpr std::string_view kEnd = "\r\n\r\n";
  while (buffer_.find(kEnd) == std::string::npos) {
    if (!Fill()) return std::exchange(buffer_, "");
  }
  const auto header = buffer_.find(kEnd) + kEnd.size();
  const auto size = header + BodyLength(std::string_view(buffer_).substr(0, header));
  while (buffer_.size() < size && Fill()) {
  }
  auto request = buffer_.substr(0, size);
  buffer_.erase(0, size);
  return request;
}

void Wire::Close() {
  if (socket_) shutdown(socket_.get(), SHUT_RDWR);
  socket_.Close();
}

bool Wire::Send(std::string_view text) {
  while (!text.empty()) {
    const auto size = send(socket_.get(), text.data(), text.size(), MSG_NOSIGNAL);
    if (size < 0) return false;
    text.remove_prefix(static_cast<std::size_t>(size));
  }
  return true;
}

void Wire::StayOpen(std::chrono::milliseconds time) {
  pollfd client{socket_.get(), POLLIN, 0};
  poll(&client, 1, static_cast<int>(time.count()));
}

void Wire::WaitForClose() {
  while (Fill()) {
  }
}

void Wire::Reset() {
  const linger at_once{1, 0};
  setsockopt(socket_.get(), SOL_SOCKET, SO_LINGER, &at_once, sizeof at_once);
  socket_.Close();
}

RawServer::RawServer(std::vector<Script> scripts) : scripts_(std::move(scripts)) {
  server_ = std::thread([this] { Serve(); });
}

RawServer::~RawServer() {
  listener_.Stop();
  server_.join();
  {
    const std::lock_guard lock(mutex_);
    for (const int socket : open_) shutdown(socket, SHUT_RDWR);
  }
  for (auto& player : players_) player.join();
}

void RawServer::Serve() {
  while (auto socket = listener_.Accept()) {
    const auto number = static_cast<std::size_t>(connections_++);
    if (number >= scripts_.size()) continue;
    // A second descriptor, so that the script may close its own at any time.
    Descriptor handle(fcntl(socket.get(), F_DUPFD_CLOEXEC, 0));
    {
      const std::lock_guard lock(mutex_);
      open_.push_back(handle.get());
    }
    players_.emplace_back(
        [this, number, wire = Wire(std::move(socket)), handle = std::move(handle)]() mutable {
          scripts_[number](wire);
          wire.Close();
          const std::lock_guard lock(mutex_);
          open_.erase(std::find(open_.begin(), open_.end(), handle.get()));
          handle.Close();
        });
  }
}

std::string Reply(const std::string& body) {
  return "HTTP/1.1 200 OK\r\nContent-Length: " + std::to_string(body.size()) + "\r\n\r\n" + body;
}

RawServer::Script AnswerAndClose(const std::string& reply) {
  return [reply](Wire& wire) {
    wire.ReadRequest();
    wire.Send(reply);
  };
}

}  // namespace net_test
