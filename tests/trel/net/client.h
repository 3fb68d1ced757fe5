#pragma once

#include <gtest/gtest.h>

#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <thread>

#include "seam/conf.h"
#include "seam/http.h"

namespace net_test {

/// The real HTTP body on a thread of its own, so that its connections end with it and no test finds
/// those of another.
class Client : public trel_seam::Http {
 public:
  explicit Client(const trel_seam::Conf& conf = {});
  ~Client() override;

  trel_seam::HttpReply Post(const trel_seam::HttpPost& post) override;
  int Get(const std::string& url, int timeout,
          const std::function<void(std::string_view)>& sink) override;

  /// Posts `body` to `url` with the defaults.
  trel_seam::HttpReply Post(const std::string& url, const std::string& body = "a=1");
  /// Gets `url` into one text.
  std::string Get(const std::string& url, int timeout = 0);

 private:
  void Run(const std::function<void()>& task);
  void Work();

  std::shared_ptr<trel_seam::Http> http_;
  std::mutex mutex_;
  std::condition_variable changed_;
  std::function<void()> task_;
  bool stopped_ = false;
  std::thread thread_;
};

/// The text of the HttpFailure that `action` throws; fails the test when it throws none.
template <typename Action>
std::string FailureOf(const Action& action) {
  try {
    action();
  } catch (const trel_seam::HttpFailure& failure) {
    return failure.what();
  }
  ADD_FAILURE() << "no failure";
  return "";
}

}  // namespace net_test
