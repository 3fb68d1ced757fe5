#pragma once

#include <cstdint>
#include <string>

#include "trel/export.h"

/// Dates and times.
namespace trel_date {

/// A moment, to the microsecond.
class TREL_EXPORT AccurateDateTime {
 public:
  /// `microseconds` since 1970-01-01 00:00:00 UTC.
  explicit AccurateDateTime(std::int64_t microseconds) : microseconds_(microseconds) {}
  /// "2026-11-20 18:02:01.123456", local time; sorts as the moments do, except over the hour that
  /// the end of summer time repeats.
  std::string AsDateTime() const;

 private:
  std::int64_t microseconds_;
};

/// The current time. No two objects of one process hold the same moment: one made within the
/// microsecond of another is later by one.
class TREL_EXPORT DateTime : public AccurateDateTime {
 public:
  DateTime();
};

}  // namespace trel_date
