#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "seam/seam.h"
#include "trel/trel_err.h"

namespace support {

/// A host whose clock, random source, accounts and system are what a test says.
class ScriptedHost : public trel_seam::Host {
 public:
  std::int64_t Now() override { return now; }
  /// What `random` holds, then bytes that count up.
  std::string Random(std::size_t count) override;
  std::optional<std::string> HomeOf(const std::string& name) override;
  std::string OsRelease() override { return os_release; }

  std::int64_t now = 1;
  std::string random;
  StringMap homes;
  std::string os_release;

 private:
  char next_ = 1;
};

/// A panel that gives one answer to every query and keeps the queries.
class ScriptedPanel : public trel_seam::Http {
 public:
  trel_seam::HttpReply Post(const trel_seam::HttpPost& post) override;
  int Get(const std::string& url, int timeout,
          const std::function<void(std::string_view)>& sink) override;

  trel_seam::HttpReply reply{200, "<doc/>"};
  /// Not empty: every query fails with this text.
  std::string failure;
  std::vector<trel_seam::HttpPost> posts;
};

/// A log that keeps its lines, each as "LEVEL MODULE MESSAGE".
class KeptLog : public trel_seam::LogSink {
 public:
  void Write(int level, std::string_view module, std::string_view message) noexcept override;
  std::vector<std::string> lines;
};

/// Puts the seam back as it was.
class SeamKeeper {
 public:
  SeamKeeper() : before_(trel_seam::Current()) {}
  ~SeamKeeper() { trel_seam::Current() = before_; }
  SeamKeeper(const SeamKeeper&) = delete;
  SeamKeeper& operator=(const SeamKeeper&) = delete;

 private:
  trel_seam::Seam before_;
};

/// What the error that `call` throws says; "nothing thrown" without one.
std::string ErrorOf(const std::function<void()>& call);

}  // namespace support
