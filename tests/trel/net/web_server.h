#pragma once

#include <httplib.h>

#include <functional>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <thread>

#include "scratch.h"

namespace net_test {

/// A self-signed certificate with its key.
struct Certificate {
  std::string file;
  std::string key_file;
  std::string pin;  ///< "sha256//..." of its public key
};

/// Makes one for the alternative names `names`, in the form of openssl's subjectAltName.
Certificate MakeCertificate(const Scratch& scratch, const std::string& names);
/// One for 127.0.0.1 and localhost, made on first use.
const Certificate& TestCertificate();

/// A well-behaved HTTP server in this process. Its end waits for kept connections to end, so that a
/// client is to be declared after it.
class WebServer {
 public:
  /// On an ephemeral port of the loopback device.
  WebServer();
  /// The same with TLS.
  explicit WebServer(const Certificate& certificate);
  /// On a Unix-domain socket.
  explicit WebServer(const std::string& socket);
  ~WebServer();
  WebServer(const WebServer&) = delete;
  WebServer& operator=(const WebServer&) = delete;

  /// To set handlers on, before Start.
  httplib::Server& routes() { return *server_; }
  void Start();

  std::string place() const { return "127.0.0.1:" + std::to_string(port_); }
  std::string url(const std::string& path = "/") const { return scheme_ + place() + path; }
  /// How many connections have carried a request.
  std::size_t connections();

 private:
  WebServer(const std::string& scheme, std::unique_ptr<httplib::Server> server);
  void BindToPort();

  std::string scheme_;
  std::unique_ptr<httplib::Server> server_;
  int port_ = 0;
  std::mutex mutex_;
  std::set<int> peers_;
  std::thread thread_;
};

}  // namespace net_test
