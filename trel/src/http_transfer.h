#pragma once

#include <curl/curl.h>

#include <cstdint>
#include <exception>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "seam/conf.h"
#include "seam/http.h"

namespace trel_seam {

/// Takes a reply. What its methods throw ends the transfer and leaves Transfer::Perform.
class Receiver {
 public:
  virtual ~Receiver() = default;
  /// The header is there. `length`: bytes that the body is announced to have, -1 when they are not
  /// known; `bounded`: whether the body has an announced end at all.
  virtual void Begin(int status, std::int64_t length, bool bounded) = 0;
  /// The next piece of the body.
  virtual void Take(std::string_view piece) = 0;
};

/// Where and how a request goes out.
struct Route {
  std::string url;
  std::string place;   ///< what `url` or `socket` leads to, for people and for pins
  std::string socket;  ///< Unix-domain socket; empty: over the network
  int timeout = 0;     ///< the limit that the caller set, in seconds; 0: none
  long left_ms = 0;    ///< what is left of it; 0: no limit
  bool fresh = false;  ///< on a connection that carries nothing before, never sent again
};

/// One request and its reply. Transfers of a thread share one libcurl handle, so that connections,
/// names and TLS sessions are kept between them; only one may exist at a time.
class Transfer {
 public:
  Transfer(const Conf& conf, const Route& route);
  /// Takes every pointer into this object back from the shared handle.
  ~Transfer();
  Transfer(const Transfer&) = delete;
  Transfer& operator=(const Transfer&) = delete;

  /// Makes the request a POST of `post`, which must outlive the transfer. Default: GET.
  void SetForm(const HttpPost& post);
  /// Runs the transfer and returns the status. Throws HttpFailure or what `receiver` throws.
  int Perform(Receiver& receiver);
  /// Where the reply redirects to, as a whole URL.
  std::optional<std::string> Redirect() const;
  /// True once the request may have reached the peer.
  bool Sent() const;

 private:
  void SetRoute(const Conf& conf);
  void SetTrust(const Conf& conf);
  void AddHeader(const std::string& line);
  int Status() const;
  void Begin();
  void Take(std::string_view piece);
  static std::size_t OnBody(char* data, std::size_t, std::size_t size, void* self);

  CURL* handle_;
  Route route_;
  std::unique_ptr<curl_slist, decltype(&curl_slist_free_all)> headers_;
  std::string details_;
  Receiver* receiver_ = nullptr;
  bool begun_ = false;
  std::exception_ptr thrown_;
};

}  // namespace trel_seam
