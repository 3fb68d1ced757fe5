#pragma once

#include <string>
#include <vector>

#include "panel/database.h"
#include "panel/form.h"

namespace panel {

/// A failure that somebody registered for the administrator to see.
struct Problem {
  std::string id;
  std::string time;  ///< when it was registered, set by the panel: UTC, ISO 8601
  std::string level;
  std::string name;
  std::string object;
  std::string info;
  Fields params;
};

class Problems {
 public:
  explicit Problems(Database& database);

  /// Throws Error "exists" for an id that is taken. The problem's own `time` is not looked at.
  void Add(const Problem& problem);
  /// All problems in the order of their registration.
  std::vector<Problem> All();

 private:
  Fields Params(const std::string& id);

  Database& database_;
};

}  // namespace panel
