#include "panel/hosted_databases.h"

#include "panel/error.h"
#include "trel/str.h"

namespace panel {
namespace {

constexpr std::string_view kArrow = "->";

HostedServer ReadServer(const Statement& row) {
  return {row.Text(0), dbserver::ParseType(row.Text(1)), row.Text(2) == "remote", row.Text(3)};
}

std::optional<Hosted> ReadHosted(Statement row, const HostedName& id) {
  return row.Next() ? std::optional(Hosted{id, row.Text(0)}) : std::nullopt;
}

std::vector<std::string> ReadNames(Statement row) {
  std::vector<std::string> names;
  while (row.Next()) {
    names.push_back(row.Text(0));
  }
  return names;
}

}  // namespace

HostedName HostedName::ParseKey(const std::string& field, const std::string& key) {
  const std::size_t arrow = key.rfind(kArrow);
  if (arrow == std::string::npos || arrow == 0 || arrow + kArrow.size() == key.size()) {
    throw BadValue(field, key, "the key of a database, NAME->SERVER");
  }
  return {key.substr(arrow + kArrow.size()), key.substr(0, arrow)};
}

HostedDatabases::HostedDatabases(Database& database) : database_(database) {
  database_.Exec(
      "CREATE TABLE IF NOT EXISTS db_servers("
      "  name TEXT PRIMARY KEY,"
      "  type TEXT NOT NULL,"
      "  contype TEXT NOT NULL,"
      "  host TEXT NOT NULL) STRICT;"
      "INSERT OR IGNORE INTO db_servers VALUES ('mysql', 'mysql', 'local', 'localhost'),"
      "                                        ('pgsql', 'pgsql', 'local', 'localhost');"
      "CREATE TABLE IF NOT EXISTS databases("
      "  server TEXT NOT NULL REFERENCES db_servers(name),"
      "  name TEXT NOT NULL,"
      "  owner TEXT NOT NULL REFERENCES users(name),"
      "  PRIMARY KEY(server, name)) STRICT;"
      "CREATE TABLE IF NOT EXISTS database_users("
      "  server TEXT NOT NULL REFERENCES db_servers(name),"
      "  name TEXT NOT NULL,"
      "  owner TEXT NOT NULL REFERENCES users(name),"
      "  hosts TEXT NOT NULL DEFAULT '',"
      "  PRIMARY KEY(server, name)) STRICT;"
      "CREATE TABLE IF NOT EXISTS database_access("
      "  server TEXT NOT NULL,"
      "  database TEXT NOT NULL,"
      "  user TEXT NOT NULL,"
      "  PRIMARY KEY(server, database, user),"
      "  FOREIGN KEY(server, database) REFERENCES databases(server, name) ON DELETE CASCADE,"
      "  FOREIGN KEY(server, user) REFERENCES database_users(server, name) ON DELETE CASCADE) "
      "STRICT");
}

std::vector<HostedServer> HostedDatabases::Servers() {
  std::vector<HostedServer> servers;
  Statement row(database_, "SELECT name, type, contype, host FROM db_servers ORDER BY name");
  while (row.Next()) {
    servers.push_back(ReadServer(row));
  }
  return servers;
}

HostedServer HostedDatabases::RequireServer(const std::string& name) {
  Statement row(database_, "SELECT name, type, contype, host FROM db_servers WHERE name = ?", name);
  if (!row.Next()) {
    throw Missing("database server", name);
  }
  return ReadServer(row);
}

void HostedDatabases::AddServer(const HostedServer& server) {
  if (Statement(database_, "INSERT OR IGNORE INTO db_servers VALUES (?, ?, ?, ?)", server.name,
                dbserver::TypeName(server.type), server.remote ? "remote" : "local", server.host)
          .Run() == 0) {
    throw Exists("database server", server.name);
  }
}

std::vector<Hosted> HostedDatabases::Databases(const std::string& owner) {
  std::vector<Hosted> databases;
  Statement row(database_,
                "SELECT server, name, owner FROM databases WHERE ? IN ('', owner) "
                "ORDER BY name, server",
                owner);
  while (row.Next()) {
    databases.push_back({{row.Text(0), row.Text(1)}, row.Text(2)});
  }
  return databases;
}

std::optional<Hosted> HostedDatabases::FindDatabase(const HostedName& id) {
  return ReadHosted(
      Statement(database_, "SELECT owner FROM databases WHERE server = ? AND name = ?", id.server,
                id.name),
      id);
}

void HostedDatabases::AddDatabase(const Hosted& database) {
  if (Statement(database_, "INSERT OR IGNORE INTO databases VALUES (?, ?, ?)", database.id.server,
                database.id.name, database.owner)
          .Run() == 0) {
    throw Exists("database", database.id.Key());
  }
}

void HostedDatabases::RemoveDatabase(const HostedName& id) {
  Statement(database_, "DELETE FROM databases WHERE server = ? AND name = ?", id.server, id.name)
      .Run();
}

std::optional<Hosted> HostedDatabases::FindUser(const HostedName& id) {
  return ReadHosted(
      Statement(database_, "SELECT owner FROM database_users WHERE server = ? AND name = ?",
                id.server, id.name),
      id);
}

void HostedDatabases::AddUser(const Hosted& user) {
  if (Statement(database_,
                "INSERT OR IGNORE INTO database_users(server, name, owner) VALUES (?, ?, ?)",
                user.id.server, user.id.name, user.owner)
          .Run() == 0) {
    throw Exists("database user", user.id.Key());
  }
}

void HostedDatabases::RemoveUser(const HostedName& id) {
  Statement(database_, "DELETE FROM database_users WHERE server = ? AND name = ?", id.server,
            id.name)
      .Run();
}

std::vector<std::string> HostedDatabases::UsersOf(const HostedName& database) {
  return ReadNames(Statement(database_,
                             "SELECT user FROM database_access "
                             "WHERE server = ? AND database = ? ORDER BY user",
                             database.server, database.name));
}

void HostedDatabases::Attach(const HostedName& database, const std::string& user) {
  Statement(database_, "INSERT OR IGNORE INTO database_access VALUES (?, ?, ?)", database.server,
            database.name, user)
      .Run();
}

dbserver::Hosts HostedDatabases::HostsOf(const HostedName& user) {
  Statement row(database_, "SELECT hosts FROM database_users WHERE server = ? AND name = ?",
                user.server, user.name);
  dbserver::Hosts hosts;
  std::string list = row.Next() ? row.Text(0) : "";
  while (!list.empty()) {
    hosts.insert(str::GetWord(list, ' '));
  }
  return hosts;
}

void HostedDatabases::SetHosts(const HostedName& user, const dbserver::Hosts& hosts) {
  Statement(database_, "UPDATE database_users SET hosts = ? WHERE server = ? AND name = ?",
            str::Join({hosts.begin(), hosts.end()}, " "), user.server, user.name)
      .Run();
}

}  // namespace panel
