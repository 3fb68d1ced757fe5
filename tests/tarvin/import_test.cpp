#include <gtest/gtest.h>

#include "support/seam.h"
#include "tarvin/tarvin_bin.h"
#include "trel/trel_log.h"

namespace {

/// A job with a panel behind it that agrees to everything.
class Import4Test : public testing::Test {
 protected:
  Import4Test() {
    trel_seam::Current().http = std::make_shared<support::ScriptedPanel>();
    trel_seam::Current().host = std::make_shared<support::ScriptedHost>();
    trel_seam::Current().log = std::make_shared<support::KeptLog>();
    trel_log::Init("unit", 0);
  }

  support::SeamKeeper keeper_;
  tarvin_bin::Import4& job() {
    if (!job_) job_ = std::make_unique<tarvin_bin::Import4>(StringMap{}, "/nonexistent/params");
    return *job_;
  }

 private:
  std::unique_ptr<tarvin_bin::Import4> job_;
};

TEST_F(Import4Test, FetchesDumpsFromTheHostOfThePanel) {
  const std::map<std::string, std::string> rows{
      {"https://src.example:1500/panel", "https://src.example:1500/zelcgi/dbdownload?"},
      {"https://src.example:1500/panel/a/b?c", "https://src.example:1500/zelcgi/dbdownload?"},
      {"http://src.example", "http://src.example/zelcgi/dbdownload?"},
      {"https://[fd00:99::1]:1500/", "https://[fd00:99::1]:1500/zelcgi/dbdownload?"},
      {"https://a/b://c/d", "https://a/zelcgi/dbdownload?"},
  };
  for (const auto& [url, download] : rows) EXPECT_EQ(job().GetDBDownloadUrl(url), download);
}

}  // namespace
