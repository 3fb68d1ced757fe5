#include "panel/users.h"

#include "panel/error.h"

namespace panel {
namespace {

User Read(const Statement& row) {
  User user{row.Text(0), row.Number(1) != 0, {}};
  for (std::size_t i = 0; i < kUserFields.size(); ++i) {
    user.fields[kUserFields[i]] = row.Text(static_cast<int>(i) + 2);
  }
  return user;
}

}  // namespace

Users::Users(Database& database) : database_(database) {
  database_.Exec(
      "CREATE TABLE IF NOT EXISTS users("
      "  name TEXT PRIMARY KEY,"
      "  disabled INTEGER NOT NULL DEFAULT 0,"
      "  fullname TEXT NOT NULL DEFAULT '',"
      "  email TEXT NOT NULL DEFAULT '',"
      "  disklimit TEXT NOT NULL DEFAULT '',"
      "  note TEXT NOT NULL DEFAULT '') STRICT");
}

void Users::Add(const std::string& name) {
  if (Statement(database_, "INSERT OR IGNORE INTO users(name) VALUES (?)", name).Run() == 0) {
    throw Exists("user", name);
  }
}

std::optional<User> Users::Find(const std::string& name) {
  Statement row(database_,
                "SELECT name, disabled, fullname, email, disklimit, note FROM users WHERE name = ?",
                name);
  return row.Next() ? std::optional(Read(row)) : std::nullopt;
}

User Users::Require(const std::string& name) {
  std::optional<User> user = Find(name);
  if (!user) {
    throw Missing("user", name);
  }
  return *user;
}

std::vector<User> Users::All() {
  std::vector<User> users;
  Statement row(database_,
                "SELECT name, disabled, fullname, email, disklimit, note FROM users ORDER BY name");
  while (row.Next()) {
    users.push_back(Read(row));
  }
  return users;
}

void Users::SaveFields(const User& user) {
  Statement(database_,
            "UPDATE users SET fullname = ?, email = ?, disklimit = ?, note = ? WHERE name = ?",
            user.fields.at("fullname"), user.fields.at("email"), user.fields.at("disklimit"),
            user.fields.at("note"), user.name)
      .Run();
}

void Users::SetDisabled(const std::string& name, bool disabled) {
  Statement(database_, "UPDATE users SET disabled = ? WHERE name = ?", disabled, name).Run();
}

}  // namespace panel
