#include "panel/calls.h"

namespace panel {

CallLog::CallLog(Database& database) : database_(database) {
  database_.Exec(
      "CREATE TABLE IF NOT EXISTS calls("
      "  number INTEGER PRIMARY KEY,"
      "  side TEXT NOT NULL,"
      "  function TEXT NOT NULL,"
      "  user TEXT NOT NULL,"
      "  result TEXT NOT NULL) STRICT");
}

void CallLog::Add(const Call& call) {
  Statement(database_, "INSERT INTO calls(side, function, user, result) VALUES (?, ?, ?, ?)",
            call.side, call.function, call.user, call.result)
      .Run();
}

std::vector<Call> CallLog::All() {
  std::vector<Call> calls;
  Statement row(database_, "SELECT side, function, user, result FROM calls ORDER BY number");
  while (row.Next()) {
    calls.push_back({row.Text(0), row.Text(1), row.Text(2), row.Text(3)});
  }
  return calls;
}

}  // namespace panel
