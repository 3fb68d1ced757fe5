#pragma once

#include <optional>
#include <string>
#include <vector>

#include "panel/database.h"
#include "panel/dbserver/database_server.h"

namespace panel {

/// A database server that the panel knows.
struct HostedServer {
  std::string name;
  dbserver::Type type = dbserver::Type::kMariadb;
  /// Reached over the network, and therefore not worked on by this panel.
  bool remote = false;
  std::string host;
};

/// Names a database or a database user: names are unique within a server.
struct HostedName {
  std::string server;
  std::string name;

  /// The key of a database in forms: "NAME->SERVER".
  std::string Key() const { return name + "->" + server; }
  /// Reads such a key from field `field`. Throws Error "value".
  static HostedName ParseKey(const std::string& field, const std::string& key);

  bool operator==(const HostedName&) const = default;
};

/// A database or a database user, with the panel's user that owns it.
struct Hosted {
  HostedName id;
  std::string owner;
};

/// Which databases and database users belong to which user of the panel, and who works with what.
/// Contents, hashes and privileges are the servers' own.
class HostedDatabases {
 public:
  explicit HostedDatabases(Database& database);

  /// The servers: "mysql" and "pgsql" of this host, and what was added, in order of their names.
  std::vector<HostedServer> Servers();
  /// Throws Error "missing".
  HostedServer RequireServer(const std::string& name);
  /// Throws Error "exists".
  void AddServer(const HostedServer& server);

  /// All databases in order of names and servers; those of `owner` alone unless it is empty.
  std::vector<Hosted> Databases(const std::string& owner);
  std::optional<Hosted> FindDatabase(const HostedName& id);
  /// Throws Error "exists".
  void AddDatabase(const Hosted& database);
  /// Forgets the database and who works with it.
  void RemoveDatabase(const HostedName& id);

  std::optional<Hosted> FindUser(const HostedName& id);
  /// Throws Error "exists".
  void AddUser(const Hosted& user);
  /// Forgets the user and what it works with.
  void RemoveUser(const HostedName& id);

  /// Names of the users that work with `database`, in order.
  std::vector<std::string> UsersOf(const HostedName& database);
  /// Lets `user` work with `database` of the same server; no error when it does already.
  /// REQUIRES: both were added.
  void Attach(const HostedName& database, const std::string& user);

  /// From where `user` may log in, on servers that do not keep it themselves.
  dbserver::Hosts HostsOf(const HostedName& user);
  void SetHosts(const HostedName& user, const dbserver::Hosts& hosts);

 private:
  Database& database_;
};

}  // namespace panel
