#include "web_server.h"

#include <sys/socket.h>

#include <stdexcept>

namespace net_test {

Certificate MakeCertificate(const Scratch& scratch, const std::string& names) {
  Certificate made{scratch.Path("cert.pem"), scratch.Path("key.pem"), ""};
  Shell(
      "openssl req -x509 -newkey ec -pkeyopt ec_paramgen_curve:P-256 -nodes -days 2"
      " -subj /CN=test -addext subjectAltName=" +
      names + " -keyout " + made.key_file + " -out " + made.file + " 2>/dev/null");
  made.pin = "sha256//" + Shell("openssl x509 -pubkey -noout -in " + made.file +
                                " | openssl pkey -pubin -outform der"
                                " | openssl dgst -sha256 -binary | openssl base64");
  return made;
}

const Certificate& TestCertificate() {
  static const Scratch scratch;
  static const auto certificate = MakeCertificate(scratch, "DNS:localhost,IP:127.0.0.1");
  return certificate;
}

WebServer::WebServer(const std::string& scheme, std::unique_ptr<httplib::Server> server)
    : scheme_(scheme), server_(std::move(server)) {
  server_->set_tcp_nodelay(true);
  server_->set_keep_alive_max_count(1'000'000);
  server_->set_logger([this](const httplib::Request& request, const httplib::Response&) {
    const std::lock_guard lock(mutex_);
    peers_.insert(request.remote_port);
  });
}

WebServer::WebServer() : WebServer("http://", std::make_unique<httplib::Server>()) {
  BindToPort();
}

WebServer::WebServer(const Certificate& certificate)
    : WebServer("https://", std::make_unique<httplib::SSLServer>(certificate.file.c_str(),
                                                                 certificate.key_file.c_str())) {
  BindToPort();
}

WebServer::WebServer(const std::string& socket)
    : WebServer("http://", std::make_unique<httplib::Server>()) {
  server_->set_address_family(AF_UNIX);
  if (!server_->bind_to_port(socket, 80)) throw std::runtime_error("no socket for the test server");
}

void WebServer::BindToPort() {
  port_ = server_->bind_to_any_port("127.0.0.1");
  if (port_ <= 0) throw std::runtime_error("no port for the test server");
}

void WebServer::Start() {
  thread_ = std::thread([this] { server_->listen_after_bind(); });
  while (!server_->is_running()) std::this_thread::yield();
}

WebServer::~WebServer() {
  server_->stop();
  if (thread_.joinable()) thread_.join();
}

std::size_t WebServer::connections() {
  const std::lock_guard lock(mutex_);
  return peers_.size();
}

}  // namespace net_test
