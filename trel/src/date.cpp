#include "trel/trel_date.h"

#include <spdlog/fmt/chrono.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <ctime>

#include "seam/seam.h"

namespace trel_date {
namespace {

/// The present moment, moved on where it would repeat.
std::int64_t UniqueNow() {
  static std::atomic<std::int64_t> last{0};
  const std::int64_t now = trel_seam::Current().host->Now();
  std::int64_t before = last.load();
  for (;;) {
    const auto unique = std::max(now, before + 1);
    if (last.compare_exchange_weak(before, unique)) return unique;
  }
}

}  // namespace

std::string AccurateDateTime::AsDateTime() const {
  using std::chrono::microseconds, std::chrono::seconds;
  const microseconds moment(microseconds_);
  const auto whole = std::chrono::floor<seconds>(moment);
  const std::time_t time = whole.count();
  std::tm local{};
  localtime_r(&time, &local);
  return fmt::format("{:%Y-%m-%d %H:%M:%S}.{:06}", local, (moment - whole).count());
}

DateTime::DateTime() : AccurateDateTime(UniqueNow()) {}

}  // namespace trel_date
