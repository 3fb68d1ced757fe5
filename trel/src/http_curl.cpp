#include <chrono>
#include <optional>

#include "http_transfer.h"
#include "seam/conf.h"
#include "seam/seam.h"
#include "trel/str.h"
#include "url_place.h"

namespace trel_seam {
namespace {

using Clock = std::chrono::steady_clock;

constexpr std::uint64_t kReplyLimit = 256 << 20;
constexpr int kMaxRedirects = 5;

/// Counts a body, and refuses one that is over the limit as soon as that is known.
class Limit {
 public:
  explicit Limit(const std::string& place) : place_(place) {}

  void Add(std::uint64_t size) {
    total_ += size;
    Check(total_);
  }

  void Check(std::uint64_t total) const {
    if (total > kReplyLimit) throw HttpFailure(place_ + ": the answer is larger than 256 MiB");
  }

 private:
  std::string place_;
  std::uint64_t total_ = 0;
};

/// Keeps the whole body, whatever the status.
class KeepBody : public Receiver {
 public:
  explicit KeepBody(const std::string& place) : limit_(place) {}

  void Begin(int, std::int64_t length, bool) override {
    if (length > 0) {
      limit_.Check(static_cast<std::uint64_t>(length));
      body.reserve(static_cast<std::size_t>(length));
    }
  }

  void Take(std::string_view piece) override {
    limit_.Add(piece.size());
    body.append(piece);
  }

  std::string body;

 private:
  Limit limit_;
};

/// Hands the body of a reply with status 200 on, and drops any other.
class PassBody : public Receiver {
 public:
  PassBody(const std::string& place, const std::function<void(std::string_view)>& sink)
      : place_(place), sink_(sink), dropped_(place) {}

  void Begin(int status, std::int64_t, bool bounded) override {
    wanted_ = status == 200;
    if (wanted_ && !bounded) {
      throw HttpFailure(place_ +
                        ": the length of the answer is not announced, so that a cut one "
                        "could not be told from a whole one");
    }
  }

  void Take(std::string_view piece) override {
    if (wanted_) {
      sink_(piece);
    } else {
      dropped_.Add(piece.size());
    }
  }

 private:
  std::string place_;
  const std::function<void(std::string_view)>& sink_;
  Limit dropped_;
  bool wanted_ = false;
};

std::string SchemeOf(const std::string& url) {
  return str::Lower(url.substr(0, url.find("://")));
}

bool HaveOneOrigin(const std::string& url, const std::string& other) {
  return SchemeOf(url) == SchemeOf(other) && str::Lower(PlaceOf(url)) == str::Lower(PlaceOf(other));
}

/// The way of one exchange: the request's own URL, then those that it is redirected to.
class Way {
 public:
  Way(const std::string& url, const std::string& socket, int timeout, bool at_most_once)
      : route_{url, socket.empty() ? PlaceOf(url) : socket, socket, timeout, 0, at_most_once} {
    const auto scheme = SchemeOf(url);
    if (scheme != "http" && scheme != "https")
      throw HttpFailure(place() + ": neither http:// nor https://");
  }

  const std::string& place() const { return route_.place; }

  /// The route of the next request, with the time that is left.
  const Route& Next() {
    using std::chrono::milliseconds;
    if (route_.timeout > 0) {
      const auto left = start_ + std::chrono::seconds(route_.timeout) - Clock::now();
      const auto left_ms = std::chrono::duration_cast<milliseconds>(left).count();
      route_.left_ms = std::max<long>(left_ms, 1);
    }
    return route_;
  }

  /// Turns to `url`, where the peer redirects to.
  void Follow(const std::string& url) {
    if (route_.fresh) throw HttpFailure(place() + ": redirects a request that is sent only once");
    if (!HaveOneOrigin(url, route_.url))
      throw HttpFailure(place() + ": redirects to another place, which is not followed");
    if (++redirects_ > kMaxRedirects)
      throw HttpFailure(place() + ": redirects more than five times");
    route_.url = url;
  }

 private:
  Route route_;
  Clock::time_point start_ = Clock::now();
  int redirects_ = 0;
};

class CurlHttp : public Http {
 public:
  explicit CurlHttp(std::optional<Conf> conf) : conf_(std::move(conf)) {}

  HttpReply Post(const HttpPost& post) override;
  int Get(const std::string& url, int timeout,
          const std::function<void(std::string_view)>& sink) override;

 private:
  const Conf& conf() const { return conf_ ? *conf_ : Configuration(); }

  std::optional<Conf> conf_;
};

/// Runs `transfer`. The failure of one that goes out at most once must not be taken for a refusal.
int Perform(Transfer& transfer, Receiver& receiver, bool at_most_once) {
  try {
    return transfer.Perform(receiver);
  } catch (const HttpFailure& failure) {
    if (!at_most_once || !transfer.Sent()) throw;
    throw HttpFailure(std::string(failure.what()) +
                      "; whether the request was carried out is not known");
  }
}

HttpReply CurlHttp::Post(const HttpPost& post) {
  Way way(post.url, post.socket, post.timeout, post.at_most_once);
  for (;;) {
    KeepBody receiver(way.place());
    Transfer transfer(conf(), way.Next());
    transfer.SetForm(post);
    const int status = Perform(transfer, receiver, post.at_most_once);
    const auto redirect = transfer.Redirect();
    if (!redirect) return {status, std::move(receiver.body)};
    way.Follow(*redirect);
  }
}

int CurlHttp::Get(const std::string& url, int timeout,
                  const std::function<void(std::string_view)>& sink) {
  Way way(Presentable(url), "", timeout, false);
  for (;;) {
    PassBody receiver(way.place(), sink);
    Transfer transfer(conf(), way.Next());
    const int status = transfer.Perform(receiver);
    const auto redirect = transfer.Redirect();
    if (!redirect) return status;
    way.Follow(*redirect);
  }
}

}  // namespace

std::shared_ptr<Http> MakeHttp() {
  return std::make_shared<CurlHttp>(std::nullopt);
}

std::shared_ptr<Http> MakeHttp(const Conf& conf) {
  return std::make_shared<CurlHttp>(conf);
}

}  // namespace trel_seam
