#include "trel/trel_date.h"

#include <algorithm>
#include <atomic>
#include <ctime>

#include "seam/seam.h"

namespace trel_date {
namespace {

/// The present moment, moved on where it would repeat.
std::int64_t UniqueNow() {
  static std::atomic<std::int64_t> last{0};
  const std::int64_t now = trel_seam::Current().host->Now();
  std::int64_t before = last.load();
  std::int64_t unique = 0;
  do {
    unique = std::max(now, before + 1);
  } while (!last.compare_exchange_weak(before, unique));
  return unique;
}

}  // namespace

std::string AccurateDateTime::AsDateTime() const {
  constexpr std::int64_t kSecond = 1'000'000;
  const auto seconds = static_cast<std::time_t>(microseconds_ / kSecond);
  std::tm local{};
  localtime_r(&seconds, &local);
  char text[64];
  const auto size = std::strftime(text, sizeof text, "%Y-%m-%d %H:%M:%S.", &local);
  const std::string fraction = std::to_string(kSecond + microseconds_ % kSecond);
  return std::string(text, size) + fraction.substr(1);
}

DateTime::DateTime() : AccurateDateTime(UniqueNow()) {}

}  // namespace trel_date
