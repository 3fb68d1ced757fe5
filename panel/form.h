#pragma once

#include <cstddef>
#include <functional>
#include <map>
#include <string>
#include <string_view>

namespace panel {

/// Names and values in order of the names.
using Fields = std::map<std::string, std::string, std::less<>>;

/// The largest body that is read. A problem carries whole outputs of copies, percent-encoded.
inline constexpr std::size_t kMaxBody = std::size_t{64} << 20;
/// The largest number of fields in one body.
inline constexpr std::size_t kMaxFields = 4096;

/// The fields of one query.
class Form {
 public:
  /// Reads a body of type application/x-www-form-urlencoded. Throws Error "request" for a body or a
  /// number of fields beyond the limits, bad percent-encoding, a NUL byte, a field without a name,
  /// and a field that is given twice; the message names the field, never its value.
  static Form Parse(std::string_view body);

  bool Has(std::string_view name) const { return fields_.contains(name); }
  /// The value of `name`; empty when it was not given.
  std::string Get(std::string_view name) const;
  /// The value of `name`. Throws Error "value" when it was not given or is empty.
  std::string Require(std::string_view name) const;
  /// True for "on", false for "off", empty or not given. Throws Error "value" for anything else.
  bool Flag(std::string_view name) const;
  /// True when the query submits: sok=ok.
  bool Submitted() const { return Get("sok") == "ok"; }
  const Fields& fields() const { return fields_; }

 private:
  Fields fields_;
};

}  // namespace panel
