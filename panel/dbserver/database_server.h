#pragma once

#include <array>
#include <memory>
#include <set>
#include <string>
#include <string_view>

#include "panel/account.h"
#include "panel/dbserver/dump_stream.h"

/// Database servers behind the panel: what they hold, and what the panel does there.
namespace panel::dbserver {

/// The rights that a database user can hold on one database.
enum class Privilege {
  kSelect,
  kInsert,
  kUpdate,
  kDelete,
  kCreate,
  kDrop,
  kAlter,
  kIndex,
  kGrant,
  kReferences,
  kLock,
};

using Privileges = std::set<Privilege>;

/// A privilege and the field that stands for it in forms.
struct PrivilegeField {
  Privilege privilege;
  std::string_view name;
};

/// All privileges in the order of the forms.
inline constexpr std::array<PrivilegeField, 11> kPrivileges = {{
    {Privilege::kSelect, "select"},
    {Privilege::kInsert, "insert"},
    {Privilege::kUpdate, "update"},
    {Privilege::kDelete, "delete"},
    {Privilege::kCreate, "create"},
    {Privilege::kDrop, "drop"},
    {Privilege::kAlter, "alter"},
    {Privilege::kIndex, "index"},
    {Privilege::kGrant, "grant"},
    {Privilege::kReferences, "references"},
    {Privilege::kLock, "lock"},
}};

/// Addresses and address patterns from which a user may log in besides this host. Empty: from this
/// host alone; "%" in it: from anywhere.
using Hosts = std::set<std::string>;

/// A database user as the server has it.
struct UserOnServer {
  /// The password's hash as the server keeps it; empty when the user has none that another server
  /// of the same type would take.
  std::string hash;
  Hosts hosts;
  /// Those held on the database that was asked for.
  Privileges privileges;
};

/// What a server is. In lists and state: "mysql" and "pgsql".
enum class Type { kMariadb, kPostgres };

/// One database server. Every function throws Error: "system" with the server's or its client's own
/// words when the server refuses or cannot be reached. Names come as they are and are quoted here.
/// An object belongs to one thread; it holds a connection from the first use on.
class DatabaseServer {
 public:
  virtual ~DatabaseServer() = default;

  virtual Type type() const = 0;

  /// Throws Error "value" when `hash` is no password hash that this server can let somebody in by.
  /// The message names `user` and the kind of hash, never the hash.
  void CheckHash(const std::string& user, const std::string& hash) const;
  /// The hash of a password in plain text.
  virtual std::string HashOf(const std::string& password) = 0;

  virtual bool HasDatabase(const std::string& database) = 0;
  /// True when there is nothing in it that a dump would hold.
  virtual bool IsEmpty(const std::string& database) = 0;
  /// Makes an empty database that no database user has access to. Throws Error "exists".
  virtual void CreateDatabase(const std::string& database) = 0;
  /// Drops the database with all that is in it. What users may do with a later one of that name is
  /// not defined.
  virtual void DropDatabase(const std::string& database) = 0;

  virtual bool HasUser(const std::string& user) = 0;
  /// What the server knows about `user` and its rights on `database`. Where the server does not
  /// decide who may log in from where, hosts are empty. Throws Error "missing".
  virtual UserOnServer ReadUser(const std::string& database, const std::string& user) = 0;
  /// Makes a user without any access. Throws Error "exists". REQUIRES: CheckHash took `hash`.
  virtual void CreateUser(const std::string& user, const std::string& hash) = 0;
  /// REQUIRES: CheckHash took `hash`, the user exists.
  virtual void SetHash(const std::string& user, const std::string& hash) = 0;
  /// Lets `user` log in from this host and from `hosts`, and from nowhere else, with the same hash
  /// and privileges. Does nothing where the server does not decide it. Throws Error "value" when
  /// the user has no hash.
  virtual void SetHosts(const std::string& user, const Hosts& hosts) = 0;
  /// Gives `user` these privileges on `database`, wherever it logs in from, and takes all others
  /// there. Privileges that the server has besides go along with all of these (on MariaDB kGrant
  /// excepted). On PostgreSQL kDrop, kAlter and kIndex are each the ownership of everything in the
  /// database, and kLock comes with kUpdate and kDelete. REQUIRES: both exist.
  virtual void SetPrivileges(const std::string& database, const std::string& user,
                             const Privileges& privileges) = 0;
  /// Drops a user that has no access to anything. One that is not there is no error.
  virtual void DropUser(const std::string& user) = 0;

  /// Starts a dump of `database`.
  virtual std::unique_ptr<DumpStream> Dump(const std::string& database) = 0;
  /// Fills the empty `database` from the dump that can be read from descriptor `dump`. The server's
  /// client runs with the rights of `account` and as a technical user that can reach nothing but
  /// this database and owns what is restored; nobody can log in as that user at other times.
  /// Throws Error "system" with the client's words, also for a dump that is not whole, before
  /// anything is restored. Privileges of other users may have to be set again afterwards.
  virtual void Restore(const std::string& database, int dump, const account::Account& account) = 0;
};

/// Where the servers of this host are reached.
struct Endpoints {
  std::string mysql_socket = "/run/mysqld/mysqld.sock";
  std::string pgsql_socket = "/run/postgresql";  ///< directory
  /// Of that socket, and of 127.0.0.1, where restores log in by password.
  std::string pgsql_port = "5432";
};

/// The server of that type on this host; connects at the first use. The panel is its administrator
/// by the word of the system: MariaDB's root, PostgreSQL's postgres (by `peer`, as account
/// postgres). REQUIRES: this process runs as root.
std::unique_ptr<DatabaseServer> OpenServer(Type type, const Endpoints& endpoints);

/// "mysql" or "pgsql".
std::string_view TypeName(Type type);
/// The type of that name. Throws Error "value".
Type ParseType(const std::string& name);

}  // namespace panel::dbserver
