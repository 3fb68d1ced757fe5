#pragma once

#include <string>

#include "trel/export.h"

/// The log: one line an event in `NAME.log` of the log directory, owner-only. A line feed inside a
/// message goes on in a line that begins with a tab, so that no message can forge a line.
namespace trel_log {

/// Reads the platform's configuration, opens `name`.log for appending (making the directory when
/// it is missing) and lets the levels up to `level` through. Called again, it replaces what was
/// set. Throws trel_err::Error "log" / "open" when the file cannot be opened, or what a bad
/// configuration throws. Until the first call nothing is written.
TREL_EXPORT void Init(const std::string& name, int level);

/// The voice of one source file in the log.
class TREL_EXPORT Module {
 public:
  /// `name` stands in each line; `panel` is the panel that the module belongs to.
  Module(const char* name, const char* panel);
  /// True when a line of that level would be written. Costs one comparison.
  bool Check(int level) const noexcept;
  /// Formats as printf does and writes one line, whatever its level: callers ask Check first, so
  /// that a suppressed line costs no formatting. Never throws; a log that cannot be written (disk
  /// full) is no reason to end a job.
  void Write(int level, const char* format, ...) const noexcept
      __attribute__((format(printf, 3, 4)));

 private:
  const char* name_;
};

}  // namespace trel_log
