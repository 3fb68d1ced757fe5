#include "trel/trel_date.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <functional>

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

/// Runs `body` with a clock of its own: what a process has once seen of time it never forgets.
bool HoldsWithClock(const std::function<void(std::int64_t& now)>& body) {
  return HoldsWhenForked([&] {
    const auto host = std::make_shared<support::ScriptedHost>();
    trel_seam::Current().host = host;
    host->now = 1'795'197'721'000'000;
    body(host->now);
  });
}

TEST(DateTime, IsTheHostsTime) {
  EXPECT_TRUE(HoldsWithClock([](std::int64_t& now) {
    EXPECT_EQ(DateTime().AsDateTime(), AccurateDateTime(now).AsDateTime());
    now += 60'000'000;
    EXPECT_EQ(DateTime().AsDateTime(), AccurateDateTime(now).AsDateTime());
  }));
}

TEST(DateTime, NeverRepeatsWhileTheClockStandsStill) {
  EXPECT_TRUE(HoldsWithClock([](std::int64_t&) {
    std::string last;
    for (int i = 0; i < 1000; ++i) {
      const auto text = DateTime().AsDateTime();
      EXPECT_LT(last, text);
      last = text;
    }
  }));
}

TEST(DateTime, GoesOnWhenTheClockGoesBack) {
  EXPECT_TRUE(HoldsWithClock([](std::int64_t& now) {
    const auto next = AccurateDateTime(now + 1).AsDateTime();
    DateTime();
    now -= 5'000'000;
    EXPECT_EQ(DateTime().AsDateTime(), next);
  }));
}

}  // namespace
