#include "http_transfer.h"

#include <strings.h>
#include <sys/socket.h>

#include <algorithm>
#include <new>

#include "http_failure.h"
#include "tcp.h"

namespace trel_seam {
namespace {

/// What is read of a file at once: a large one costs fewer calls. A reply to a form is short, and
/// libcurl gets a buffer anew for each transfer.
constexpr long kFileBufferSize = 128 << 10;
constexpr long kReplyBufferSize = CURL_MAX_WRITE_SIZE;

/// The handle of this thread. It lives as long as the thread does: its connections do too.
CURL* ThreadHandle() {
  static const CURLcode ready = curl_global_init(CURL_GLOBAL_ALL);
  thread_local const std::unique_ptr<CURL, decltype(&curl_easy_cleanup)> handle(
      ready == CURLE_OK ? curl_easy_init() : nullptr, curl_easy_cleanup);
  if (!handle) throw std::bad_alloc();
  return handle.get();
}

const std::string* FindPin(const Conf& conf, const std::string& place) {
  const auto pin = std::find_if(conf.pins.begin(), conf.pins.end(), [&](const auto& entry) {
    return strcasecmp(entry.first.c_str(), place.c_str()) == 0;
  });
  return pin != conf.pins.end() ? &pin->second : nullptr;
}

/// As libcurl does it, but closed in every program that this process starts.
curl_socket_t OpenSocket(void*, curlsocktype, curl_sockaddr* place) {
  return socket(place->family, place->socktype | SOCK_CLOEXEC, place->protocol);
}

int OnSocket(void*, curl_socket_t socket, curlsocktype) {
  NoticeDeadPeer(socket);
  return CURL_SOCKOPT_OK;
}

bool IsChunked(CURL* handle) {
  curl_header* header = nullptr;
  return curl_easy_header(handle, "Transfer-Encoding", 0, CURLH_HEADER, -1, &header) == CURLHE_OK &&
         strcasecmp(header->value, "chunked") == 0;
}

}  // namespace

Transfer::Transfer(const Conf& conf, const Route& route)
    : handle_(ThreadHandle()), route_(route), headers_(nullptr, curl_slist_free_all) {
  details_.resize(CURL_ERROR_SIZE);
  SetRoute(conf);
  curl_easy_setopt(handle_, CURLOPT_ERRORBUFFER, details_.data());
  curl_easy_setopt(handle_, CURLOPT_WRITEFUNCTION, OnBody);
  curl_easy_setopt(handle_, CURLOPT_WRITEDATA, this);
}

Transfer::~Transfer() {
  curl_easy_reset(handle_);
}

void Transfer::SetRoute(const Conf& conf) {
  curl_easy_setopt(handle_, CURLOPT_URL, route_.url.c_str());
  curl_easy_setopt(handle_, CURLOPT_PROTOCOLS_STR, "http,https");
  // A later version lets libcurl send a request again on a connection that is not a kept one.
  curl_easy_setopt(handle_, CURLOPT_HTTP_VERSION, static_cast<long>(CURL_HTTP_VERSION_1_1));
  curl_easy_setopt(handle_, CURLOPT_PROXY, "");  // none from the environment either
  curl_easy_setopt(handle_, CURLOPT_NOSIGNAL, 1L);
  curl_easy_setopt(handle_, CURLOPT_CONNECTTIMEOUT, static_cast<long>(kConnectTimeout));
  curl_easy_setopt(handle_, CURLOPT_TIMEOUT_MS, route_.left_ms);
  curl_easy_setopt(handle_, CURLOPT_FRESH_CONNECT, static_cast<long>(route_.fresh));
  // Kept, the fresh ones would push those that are used again out of the store of connections.
  curl_easy_setopt(handle_, CURLOPT_FORBID_REUSE, static_cast<long>(route_.fresh));
  curl_easy_setopt(handle_, CURLOPT_BUFFERSIZE, kFileBufferSize);
  curl_easy_setopt(handle_, CURLOPT_OPENSOCKETFUNCTION, OpenSocket);
  if (!route_.socket.empty()) {
    curl_easy_setopt(handle_, CURLOPT_UNIX_SOCKET_PATH, route_.socket.c_str());
    return;  // within this host no peer dies unnoticed, and none shows a certificate
  }
  curl_easy_setopt(handle_, CURLOPT_SOCKOPTFUNCTION, OnSocket);
  SetTrust(conf);
}

void Transfer::SetTrust(const Conf& conf) {
  if (const auto* pin = FindPin(conf, route_.place)) {
    // The key itself is known, which says more than a chain or a name could.
    curl_easy_setopt(handle_, CURLOPT_PINNEDPUBLICKEY, pin->c_str());
    curl_easy_setopt(handle_, CURLOPT_SSL_VERIFYPEER, 0L);
    curl_easy_setopt(handle_, CURLOPT_SSL_VERIFYHOST, 0L);
  } else if (!conf.ca_file.empty()) {
    curl_easy_setopt(handle_, CURLOPT_CAINFO, conf.ca_file.c_str());
    curl_easy_setopt(handle_, CURLOPT_CAPATH, nullptr);  // not the system's certificates as well
  }
}

void Transfer::AddHeader(const std::string& line) {
  auto* list = curl_slist_append(headers_.get(), line.c_str());
  if (list == nullptr) throw std::bad_alloc();
  static_cast<void>(headers_.release());
  headers_.reset(list);
}

/// The content type of a form is what libcurl gives a post by itself.
void Transfer::SetForm(const HttpPost& post) {
  curl_easy_setopt(handle_, CURLOPT_BUFFERSIZE, kReplyBufferSize);
  AddHeader("Expect:");  // the body goes out at once, without asking whether it is welcome
  if (!post.language.empty()) AddHeader("Accept-Language: " + post.language);
  curl_easy_setopt(handle_, CURLOPT_HTTPHEADER, headers_.get());
  curl_easy_setopt(handle_, CURLOPT_POSTFIELDSIZE_LARGE, static_cast<curl_off_t>(post.body.size()));
  curl_easy_setopt(handle_, CURLOPT_POSTFIELDS, post.body.c_str());
  if (!post.agent.empty()) curl_easy_setopt(handle_, CURLOPT_USERAGENT, post.agent.c_str());
}

int Transfer::Perform(Receiver& receiver) {
  receiver_ = &receiver;
  const auto code = curl_easy_perform(handle_);
  if (thrown_) std::rethrow_exception(thrown_);
  if (code != CURLE_OK) {
    throw HttpFailure(route_.place + ": " +
                      DescribeFailure(handle_, code, details_.c_str(), route_.timeout));
  }
  if (!begun_) Begin();
  return Status();
}

std::optional<std::string> Transfer::Redirect() const {
  const char* url = nullptr;
  curl_easy_getinfo(handle_, CURLINFO_REDIRECT_URL, &url);
  return url != nullptr ? std::optional<std::string>(url) : std::nullopt;
}

bool Transfer::Sent() const {
  curl_off_t time{};
  curl_easy_getinfo(handle_, CURLINFO_PRETRANSFER_TIME_T, &time);
  return time > 0;
}

int Transfer::Status() const {
  long status{};
  curl_easy_getinfo(handle_, CURLINFO_RESPONSE_CODE, &status);
  return static_cast<int>(status);
}

void Transfer::Begin() {
  begun_ = true;
  curl_off_t length = -1;
  curl_easy_getinfo(handle_, CURLINFO_CONTENT_LENGTH_DOWNLOAD_T, &length);
  receiver_->Begin(Status(), length, length >= 0 || IsChunked(handle_));
}

void Transfer::Take(std::string_view piece) {
  if (!begun_) Begin();
  receiver_->Take(piece);
}

std::size_t Transfer::OnBody(char* data, std::size_t, std::size_t size, void* self) {
  auto& transfer = *static_cast<Transfer*>(self);
  try {
    transfer.Take({data, size});
    return size;
  } catch (...) {  // an exception must not pass through libcurl
    transfer.thrown_ = std::current_exception();
    return CURL_WRITEFUNC_ERROR;
  }
}

}  // namespace trel_seam
