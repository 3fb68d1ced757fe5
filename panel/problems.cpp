#include "panel/problems.h"

#include "panel/error.h"

namespace panel {

Problems::Problems(Database& database) : database_(database) {
  database_.Exec(
      "CREATE TABLE IF NOT EXISTS problems("
      "  number INTEGER PRIMARY KEY,"
      "  id TEXT NOT NULL UNIQUE,"
      "  time TEXT NOT NULL DEFAULT (strftime('%Y-%m-%dT%H:%M:%SZ', 'now')),"
      "  level TEXT NOT NULL,"
      "  name TEXT NOT NULL,"
      "  object TEXT NOT NULL,"
      "  info TEXT NOT NULL) STRICT;"
      "CREATE TABLE IF NOT EXISTS problem_params("
      "  problem TEXT NOT NULL REFERENCES problems(id),"
      "  name TEXT NOT NULL,"
      "  value TEXT NOT NULL,"
      "  PRIMARY KEY(problem, name)) STRICT");
}

void Problems::Add(const Problem& problem) {
  Transaction transaction(database_);
  if (Statement(database_,
                "INSERT OR IGNORE INTO problems(id, level, name, object, info) "
                "VALUES (?, ?, ?, ?, ?)",
                problem.id, problem.level, problem.name, problem.object, problem.info)
          .Run() == 0) {
    throw Exists("problem", problem.id);
  }
  for (const auto& [name, value] : problem.params) {
    Statement(database_, "INSERT INTO problem_params(problem, name, value) VALUES (?, ?, ?)",
              problem.id, name, value)
        .Run();
  }
  transaction.Commit();
}

std::vector<Problem> Problems::All() {
  std::vector<Problem> problems;
  Statement row(database_,
                "SELECT id, time, level, name, object, info FROM problems ORDER BY number");
  while (row.Next()) {
    problems.push_back({row.Text(0), row.Text(1), row.Text(2), row.Text(3), row.Text(4),
                        row.Text(5), Params(row.Text(0))});
  }
  return problems;
}

Fields Problems::Params(const std::string& id) {
  Fields params;
  Statement row(database_, "SELECT name, value FROM problem_params WHERE problem = ?", id);
  while (row.Next()) {
    params.emplace(row.Text(0), row.Text(1));
  }
  return params;
}

}  // namespace panel
