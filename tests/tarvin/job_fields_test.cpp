#include <gtest/gtest.h>

#include "tarvin/tarvin_bin.h"

namespace {

/// A job whose fields can be seen.
class Job : public tarvin_bin::ImportAbstract {
 public:
  explicit Job(const StringMap& params) : ImportAbstract(params, "none") {}
  int Run() override { return 0; }

  using ImportAbstract::lang_;
  using ImportAbstract::params_;
  using ImportAbstract::user_disabled_;
};

TEST(ImportAbstract, ReadsItsFieldsFromTheParameters) {
  const StringMap params{{"lang", "de"}, {"user_disabled", "on"}, {"username", "user1"}};
  const Job job(params);
  EXPECT_EQ(job.lang_, "de");
  EXPECT_EQ(job.UserName(), "user1");
  EXPECT_TRUE(job.user_disabled_);
  EXPECT_EQ(job.params_, params);
}

}  // namespace
