#pragma once

#include <functional>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>

#include "trel/export.h"

namespace trel_seam {

struct Conf;

/// The exchange did not come to a reply: refused, timed out, cut off, a bad certificate.
/// what() names the host and says what happened; it never holds a query or a key.
class TREL_EXPORT HttpFailure : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// One POST of a form.
struct HttpPost {
  std::string url;            ///< where to; over a socket only its host and path count
  std::string socket;         ///< path of a Unix-domain socket; empty: over the network
  std::string body;           ///< application/x-www-form-urlencoded
  std::string language;       ///< Accept-Language; empty: none
  std::string agent;          ///< User-Agent
  int timeout = 0;            ///< seconds for the whole exchange; 0: no limit
  bool at_most_once = false;  ///< goes out on a fresh connection and is never sent again
};

/// What came back.
struct HttpReply {
  int status = 0;
  std::string body;
};

/// The way out for HTTP.
class Http {
 public:
  virtual ~Http() = default;
  /// Sends `post` and returns the whole reply, whatever its status. At most five redirects are
  /// followed, with method and body kept, to the same scheme, host and port alone, and none for a
  /// post that goes out at most once. Throws HttpFailure, also for a reply over 256 MiB; the
  /// failure of a post that goes out at most once says when it may have been carried out.
  virtual HttpReply Post(const HttpPost& post) = 0;
  /// Gets `url`, handing the body of a reply with status 200 to `sink` piece by piece, and returns
  /// the status. `timeout` in seconds, 0: no limit; a dead peer is noticed all the same.
  /// Throws HttpFailure, also for a body shorter than announced or without an announced end; what
  /// `sink` throws passes through.
  virtual int Get(const std::string& url, int timeout,
                  const std::function<void(std::string_view)>& sink) = 0;
};

/// The real body with a configuration of its own in place of the process's.
TREL_EXPORT std::shared_ptr<Http> MakeHttp(const Conf& conf);

}  // namespace trel_seam
