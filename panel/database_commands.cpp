#include "panel/database_commands.h"

#include <iostream>

#include "panel/dbserver/names.h"
#include "panel/error.h"
#include "panel/state.h"
#include "panel/text.h"
#include "trel/str.h"

namespace panel::commands {
namespace {

Hosted OwnedDatabase(State& state, const HostedName& id, const std::string& owner) {
  const std::optional<Hosted> database = state.hosted.FindDatabase(id);
  if (!database || database->owner != owner) {
    throw Missing("database of user " + owner, id.Key());
  }
  return *database;
}

}  // namespace

void AddDatabaseServer(const std::filesystem::path& state, const std::string& name,
                       const std::string& type, const std::string& contype,
                       const std::string& host) {
  dbserver::CheckServerName("NAME", name);
  State(state, Database::Open::kCreate)
      .hosted.AddServer({name, dbserver::ParseType(type), contype == "remote", host});
}

void ListDatabaseServers(const std::filesystem::path& state) {
  for (const HostedServer& server : State(state, Database::Open::kExisting).hosted.Servers()) {
    std::cout << server.name << " " << dbserver::TypeName(server.type)
              << (server.remote ? " remote " : " local ") << OneLine(server.host) << "\n";
  }
}

void AddDatabase(const std::filesystem::path& state, const std::string& server,
                 const std::string& name, const std::string& owner) {
  State opened(state, Database::Open::kExisting);
  CheckName(opened.hosted.RequireServer(server).type, dbserver::NameOf::kDatabase, "NAME", name);
  opened.hosted.AddDatabase({{server, name}, opened.users.Require(owner).name});
}

void ListDatabases(const std::filesystem::path& state) {
  State opened(state, Database::Open::kExisting);
  for (const Hosted& database : opened.hosted.Databases("")) {
    std::cout << database.id.server << " \"" << OneLine(database.id.name) << "\" "
              << database.owner;
    for (const std::string& user : opened.hosted.UsersOf(database.id)) {
      std::cout << " \"" << OneLine(user) << "\"";
    }
    std::cout << "\n";
  }
}

void AddDatabaseUser(const std::filesystem::path& state, const std::string& server,
                     const std::string& name, const std::string& owner,
                     const std::vector<std::string>& databases) {
  State opened(state, Database::Open::kExisting);
  CheckName(opened.hosted.RequireServer(server).type, dbserver::NameOf::kUser, "NAME", name);
  Transaction transaction(opened.database);
  opened.hosted.AddUser({{server, name}, opened.users.Require(owner).name});
  for (const std::string& database : databases) {
    opened.hosted.Attach(OwnedDatabase(opened, {server, database}, owner).id, name);
  }
  if (databases.empty()) {
    for (const Hosted& database : opened.hosted.Databases(owner)) {
      if (database.id.server == server) {
        opened.hosted.Attach(database.id, name);
      }
    }
  }
  transaction.Commit();
}

void SetOption(const std::filesystem::path& state, const std::string& name, bool on) {
  State(state, Database::Open::kCreate).options.Set(name, on);
}

}  // namespace panel::commands
