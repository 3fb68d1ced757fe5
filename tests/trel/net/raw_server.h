#pragma once

#include <atomic>
#include <chrono>
#include <functional>
#include <mutex>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "src/descriptor.h"

namespace net_test {

/// A listening TCP socket on an ephemeral port of the loopback device.
class Listener {
 public:
  explicit Listener(int family = 2 /* AF_INET */);
  int port() const { return port_; }
  /// The next connection; none once Stop was called.
  Descriptor Accept() const;
  /// Makes Accept return, now and from now on.
  void Stop() const;

 private:
  Descriptor socket_;
  int port_ = 0;
};

/// The server's end of one connection.
class Wire {
 public:
  explicit Wire(Descriptor socket) : socket_(std::move(socket)) {}

  /// Reads one request: its header and as much body as that announces. Shorter, or empty, when the
  /// client ends the connection.
  std::string ReadRequest();
  /// Sends `text`; false when the client is gone.
  bool Send(std::string_view text);
  /// Stays silent for that long, or until the client does something.
  void StayOpen(std::chrono::milliseconds time);
  /// Waits until the client ends the connection.
  void WaitForClose();
  /// Ends the connection in order.
  void Close();
  /// Ends the connection with a reset.
  void Reset();

 private:
  bool Fill();

  Descriptor socket_;
  std::string buffer_;
};

/// A server that plays one script for each connection: the first for the first one, and so on. A
/// connection beyond the scripts is counted and closed. Everything ends with the server.
class RawServer {
 public:
  using Script = std::function<void(Wire&)>;

  explicit RawServer(std::vector<Script> scripts);
  ~RawServer();
  RawServer(const RawServer&) = delete;
  RawServer& operator=(const RawServer&) = delete;

  int port() const { return listener_.port(); }
  /// "127.0.0.1:PORT".
  std::string place() const { return "127.0.0.1:" + std::to_string(port()); }
  std::string url(const std::string& path = "/") const { return "http://" + place() + path; }
  /// How many connections were made so far.
  int connections() const { return connections_; }

 private:
  void Serve();

  Listener listener_;
  std::vector<Script> scripts_;
  std::atomic<int> connections_ = 0;
  std::mutex mutex_;
  std::vector<int> open_;
  std::vector<std::thread> players_;
  std::thread server_;
};

/// A reply with status 200 and an announced length.
std::string Reply(const std::string& body);
/// A script that reads a request, sends `reply` and ends the connection.
RawServer::Script AnswerAndClose(const std::string& reply);

}  // namespace net_test
