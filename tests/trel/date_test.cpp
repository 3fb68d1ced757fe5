#include "trel/trel_date.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <set>

#include "support/forked.h"
#include "support/seam.h"

namespace {

using support::HoldsWhenForked;
using trel_date::AccurateDateTime;
using trel_date::DateTime;

TEST(AccurateDateTime, WritesLocalTimeToTheMicrosecond) {
  EXPECT_TRUE(HoldsWhenForked([] {
    setenv("TZ", "UTC", 1);
    EXPECT_EQ(AccurateDateTime(0).AsDateTime(), "1970-01-01 00:00:00.000000");
    EXPECT_EQ(AccurateDateTime(1'795'197'721'000'012).AsDateTime(), "2026-11-20 18:02:01.000012");
    EXPECT_EQ(AccurateDateTime(1'795'197'721'999'999).AsDateTime(), "2026-11-20 18:02:01.999999");
    EXPECT_EQ(AccurateDateTime(-1).AsDateTime(), "1969-12-31 23:59:59.999999");
  }));
  EXPECT_TRUE(HoldsWhenForked([] {
    setenv("TZ", "XXX-05:30", 1);
    EXPECT_EQ(AccurateDateTime(1'795'197'721'123'456).AsDateTime(), "2026-11-20 23:32:01.123456");
  }));
}

class DateTimeTest : public testing::Test {
 protected:
  DateTimeTest() { trel_seam::Current().host = host_; }

  support::SeamKeeper keeper_;
  std::shared_ptr<support::ScriptedHost> host_ = std::make_shared<support::ScriptedHost>();
};

TEST_F(DateTimeTest, IsTheHostsTime) {
  host_->now = 1'900'000'000'000'000;
  EXPECT_EQ(DateTime().AsDateTime(), AccurateDateTime(1'900'000'000'000'000).AsDateTime());
}

TEST_F(DateTimeTest, NeverRepeatsWhileTheClockStandsStill) {
  host_->now = 1'900'000'001'000'000;
  std::set<std::string> seen;
  std::string last;
  for (int i = 0; i < 1000; ++i) {
    const auto text = DateTime().AsDateTime();
    EXPECT_LT(last, text);
    EXPECT_TRUE(seen.insert(text).second) << text;
    last = text;
  }
}

TEST_F(DateTimeTest, GoesOnWhenTheClockGoesBack) {
  host_->now = 1'900'000'002'000'000;
  const auto before = DateTime().AsDateTime();
  host_->now -= 5'000'000;
  const auto after = DateTime().AsDateTime();
  EXPECT_EQ(before, AccurateDateTime(1'900'000'002'000'000).AsDateTime());
  EXPECT_EQ(after, AccurateDateTime(1'900'000'002'000'001).AsDateTime());
}

}  // namespace
