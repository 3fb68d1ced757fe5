#include "panel/options.h"

#include "panel/error.h"

namespace panel {

Options::Options(Database& database) : database_(database) {
  database_.Exec(
      "CREATE TABLE IF NOT EXISTS options(name TEXT PRIMARY KEY, value INTEGER NOT NULL) STRICT");
  // Every option there is has a row.
  Statement(database_, "INSERT OR IGNORE INTO options VALUES (?, 0)", kAllowUpperCase).Run();
}

std::map<std::string, bool> Options::All() {
  std::map<std::string, bool> options;
  Statement row(database_, "SELECT name, value FROM options");
  while (row.Next()) {
    options.emplace(row.Text(0), row.Number(1) != 0);
  }
  return options;
}

bool Options::Get(const std::string& name) {
  Statement row(database_, "SELECT value FROM options WHERE name = ?", name);
  if (!row.Next()) {
    throw Missing("option", name);
  }
  return row.Number(0) != 0;
}

void Options::Set(const std::string& name, bool on) {
  if (Statement(database_, "UPDATE options SET value = ? WHERE name = ?", on, name).Run() == 0) {
    throw Missing("option", name);
  }
}

}  // namespace panel
