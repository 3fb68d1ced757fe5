#pragma once

#include <map>
#include <string>

#include "panel/database.h"

namespace panel {

/// Databases may have capital letters in their names.
inline constexpr const char* kAllowUpperCase = "DbAllowUpperCase";

/// Switches of the panel.
class Options {
 public:
  explicit Options(Database& database);

  /// All options and whether they are on.
  std::map<std::string, bool> All();
  /// Throws Error "missing" for an option that does not exist.
  bool Get(const std::string& name);
  /// Throws like Get.
  void Set(const std::string& name, bool on);

 private:
  Database& database_;
};

}  // namespace panel
