#pragma once

#include <string>
#include <vector>

#include "panel/database.h"

namespace panel {

/// One function that was called: never its fields, which may hold secrets.
struct Call {
  std::string side;  ///< "local" or "source"
  std::string function;
  std::string user;    ///< in whose name; "administrator", or "-" without a session
  std::string result;  ///< "ok", or the type of the error
};

/// The log of called functions.
class CallLog {
 public:
  explicit CallLog(Database& database);

  void Add(const Call& call);
  /// All calls in their order.
  std::vector<Call> All();

 private:
  Database& database_;
};

}  // namespace panel
