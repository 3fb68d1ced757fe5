#include "trel/trel_date.h"

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
  char text[64];
  const auto size = std::strftime(text, sizeof text, "%Y-%m-%d %H:%M:%S.", &local);
  // One second more, and the fraction keeps its leading zeros.
  const std::string fraction = std::to_string((moment - whole + seconds(1)).count());
  return std::string(text, size) + fraction.substr(1);
}

DateTime::DateTime() : AccurateDateTime(UniqueNow()) {}

}  // namespace trel_date
