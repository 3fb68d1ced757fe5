#include "panel/server.h"

#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <charconv>
#include <filesystem>
#include <stdexcept>
#include <system_error>

#include "panel/account.h"
#include "panel/error.h"
#include "panel/socket_file.h"
#include "trel/str.h"

namespace panel {
namespace {

constexpr std::size_t kThreads = 64;  // a kept connection occupies one
constexpr std::size_t kKeepAliveCount = 1000000;
constexpr time_t kKeepAliveSeconds = 75;  // as long as common web servers wait for more
constexpr time_t kWriteSeconds = 60;      // for how long a receiver may take nothing
constexpr const char* kReplyType = "text/xml; charset=utf-8";
constexpr const char* kDumpType = "application/octet-stream";
constexpr const char* kFormType = "application/x-www-form-urlencoded";

// Errors of HTTP, beside those of the panel, which are answers of status 200.
void Refuse(httplib::Response& response, int status, const std::string& message) {
  response.status = status;
  response.set_content(ErrorReply(Error("request", "http", "", message)).Str(), kReplyType);
}

void RefuseMethod(httplib::Response& response) {
  response.set_header("Allow", "POST");
  Refuse(response, 405, "only POST is answered");
}

std::string MediaType(const httplib::Request& request) {
  const std::string type = request.get_header_value("Content-Type");
  return str::Lower(str::Trim(type.substr(0, type.find(';'))));
}

// Reads the body to its end also where it is refused: the next query on this connection comes
// behind it.
bool ReadBody(const httplib::Request& request, const httplib::ContentReader& reader,
              std::string& body) {
  if (!request.has_header("Content-Length") && !request.has_header("Transfer-Encoding")) {
    return true;
  }
  bool fits = true;
  const auto receive = [&](const char* data, std::size_t size) {
    fits = fits && body.size() + size <= kMaxBody;
    if (fits) {
      body.append(data, size);
    }
    return true;
  };
  const bool read = request.is_multipart_form_data()
                        ? reader([](const httplib::MultipartFormData&) { return true; }, receive)
                        : reader(receive);
  return read && fits;
}

void Post(Panel& panel, const httplib::Request& request, httplib::Response& response,
          const httplib::ContentReader& reader) {
  std::string body;
  if (!ReadBody(request, reader, body)) {
    Refuse(response, 413, "the body is larger than " + std::to_string(kMaxBody) + " bytes");
  } else if (MediaType(request) != kFormType) {
    Refuse(response, 415, std::string("the body must be of type ") + kFormType);
  } else {
    response.set_content(panel.Answer(body), kReplyType);
  }
}

// Gives the next piece to the connection; false cuts it, so that no part is taken for the whole.
bool SendPiece(Download& download, httplib::DataSink& sink) {
  try {
    const std::string_view piece = download.Next();
    if (piece.empty()) {
      sink.done();
      return true;
    }
    return sink.write(piece.data(), piece.size());
  } catch (const std::exception&) {
    return false;
  }
}

void Get(Panel& panel, const httplib::Request& request, httplib::Response& response) {
  if (request.method != "GET") {  // HEAD comes here too
    RefuseMethod(response);
    return;
  }
  if (request.has_header("Range")) {
    Refuse(response, 416, "a dump is given as a whole");
    return;
  }
  try {
    if (const std::shared_ptr<Download> download = panel.Get(request.target)) {
      response.set_chunked_content_provider(
          kDumpType,
          [download](std::size_t, httplib::DataSink& sink) { return SendPiece(*download, sink); });
    } else {
      RefuseMethod(response);
    }
  } catch (const Error& error) {
    response.set_content(ErrorReply(error).Str(), kReplyType);
  }
}

void RefuseUnhandled(const httplib::Request& request, httplib::Response& response) {
  if (!response.body.empty()) {
    return;
  }
  if (response.status == 404 && request.method != "POST") {
    RefuseMethod(response);
  } else {
    Refuse(response, response.status, "HTTP status " + std::to_string(response.status));
  }
}

void Configure(httplib::Server& http) {
  http.new_task_queue = [] { return new httplib::ThreadPool(kThreads); };
  http.set_tcp_nodelay(true);
  http.set_keep_alive_max_count(kKeepAliveCount);
  http.set_keep_alive_timeout(kKeepAliveSeconds);
  http.set_write_timeout(kWriteSeconds);
  http.set_payload_max_length(kMaxBody);
  // The library's own choice would let two servers share one port.
  http.set_socket_options([](int socket) {
    const int yes = 1;
    setsockopt(socket, SOL_SOCKET, SO_REUSEADDR, &yes, sizeof(yes));
  });
}

// Makes sockets of mode 0600 while it lives.
class OwnerOnlyUmask {
 public:
  OwnerOnlyUmask() : old_(umask(0177)) {}
  OwnerOnlyUmask(const OwnerOnlyUmask&) = delete;
  OwnerOnlyUmask& operator=(const OwnerOnlyUmask&) = delete;
  ~OwnerOnlyUmask() { umask(old_); }

 private:
  mode_t old_;
};

std::runtime_error ListenError(const std::string& name) {
  return std::runtime_error("cannot listen on " + name + ": " +
                            std::generic_category().message(errno));
}

std::unique_ptr<httplib::Server> MakeHttp(const TlsFiles* tls) {
  if (tls == nullptr) {
    return std::make_unique<httplib::Server>();
  }
  auto http = std::make_unique<httplib::SSLServer>(tls->cert.c_str(), tls->key.c_str());
  if (!http->is_valid()) {
    throw std::runtime_error("certificate " + tls->cert + " with key " + tls->key +
                             " cannot be used");
  }
  return http;
}

}  // namespace

Server::Server(Panel& panel, std::unique_ptr<httplib::Server> http) : http_(std::move(http)) {
  Configure(*http_);
  http_->Post(".*", [&panel](const httplib::Request& request, httplib::Response& response,
                             const httplib::ContentReader& reader) {
    Post(panel, request, response, reader);
  });
  http_->Get(".*", [&panel](const httplib::Request& request, httplib::Response& response) {
    Get(panel, request, response);
  });
  http_->set_error_handler(RefuseUnhandled);
}

std::unique_ptr<Server> Server::OnSocket(Panel& panel, const std::string& path,
                                         const std::string& account) {
  // Looked up before the socket is there, so that a wrong name leaves nothing behind.
  const auto owner = account.empty() ? std::nullopt : std::optional(account::Require(account));
  ClearSocketPath(path);
  std::unique_ptr<Server> server(new Server(panel, MakeHttp(nullptr)));
  server->name_ = "unix:" + path;
  server->http_->set_address_family(AF_UNIX);
  const OwnerOnlyUmask owner_only;
  // The library wants a port, and makes no use of it here.
  if (!server->http_->bind_to_port(path, 80)) {
    throw ListenError(server->name_);
  }
  server->socket_file_ = path;
  if (owner && chown(path.c_str(), owner->uid, static_cast<gid_t>(-1)) != 0) {
    throw ListenError(server->name_ + " for account " + account);
  }
  return server;
}

std::unique_ptr<Server> Server::OnAddress(Panel& panel, const ListenAddress& address,
                                          const TlsFiles* tls) {
  std::unique_ptr<Server> server(new Server(panel, MakeHttp(tls)));
  ListenAddress bound = address;
  const bool done = address.port == 0
                        ? (bound.port = server->http_->bind_to_any_port(address.host)) > 0
                        : server->http_->bind_to_port(address.host, address.port);
  if (!done) {
    throw ListenError(address.Str());
  }
  server->name_ = (tls == nullptr ? "http://" : "https://") + bound.Str() + "/";
  return server;
}

Server::~Server() {
  Stop();
  if (thread_.joinable()) {
    thread_.join();
  }
  if (!socket_file_.empty()) {
    unlink(socket_file_.c_str());
  }
}

void Server::Start(std::function<void()> ended) {
  thread_ = std::thread([this, ended = std::move(ended)] {
    http_->listen_after_bind();
    ended();
  });
  // Before that a Stop would be lost.
  while (!http_->is_running()) {
    std::this_thread::yield();
  }
}

void Server::Stop() {
  http_->stop();
}

void EndIdleConnections() {
  for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd")) {
    const std::string name = entry.path().filename().string();
    int descriptor = -1;
    std::from_chars(name.data(), name.data() + name.size(), descriptor);
    shutdown(descriptor, SHUT_RD);  // fails for all but sockets, which is as well
  }
}

}  // namespace panel
