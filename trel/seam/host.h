#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace trel_seam {

/// What the platform asks of the machine that it runs on.
class Host {
 public:
  virtual ~Host() = default;
  /// Microseconds since 1970-01-01 00:00:00 UTC.
  virtual std::int64_t Now() = 0;
  /// `count` unpredictable bytes.
  virtual std::string Random(std::size_t count) = 0;
  /// The home directory of account `name`; none when there is no such account.
  virtual std::optional<std::string> HomeOf(const std::string& name) = 0;
  /// The text of /etc/os-release, empty when there is none.
  virtual std::string OsRelease() = 0;
};

/// Where log lines go.
class LogSink {
 public:
  virtual ~LogSink() = default;
  /// Takes one line; `message` may hold line feeds. Never throws.
  virtual void Write(int level, std::string_view module, std::string_view message) noexcept = 0;
};

}  // namespace trel_seam
