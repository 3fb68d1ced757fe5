#include "panel/dbserver/mariadb.h"

#include "panel/dbserver/dump_transfer.h"
#include "panel/dbserver/hashes.h"
#include "panel/dbserver/mariadb_quoting.h"
#include "panel/dbserver/names.h"
#include "panel/error.h"
#include "trel/str.h"

namespace panel::dbserver {
namespace {

constexpr const char* kLocalHost = "localhost";
constexpr unsigned kNoSuchGrant = 1141;

// In the order of kPrivileges.
constexpr std::array<const char*, kPrivileges.size()> kSqlNames = {
    "SELECT", "INSERT", "UPDATE",       "DELETE",     "CREATE",     "DROP",
    "ALTER",  "INDEX",  "GRANT OPTION", "REFERENCES", "LOCK TABLES"};
constexpr const char* kColumns =
    "Select_priv, Insert_priv, Update_priv, Delete_priv, Create_priv, Drop_priv, Alter_priv, "
    "Index_priv, Grant_priv, References_priv, Lock_tables_priv";

bool HoldsAllButGrant(const Privileges& privileges) {
  return privileges.size() + (privileges.contains(Privilege::kGrant) ? 0 : 1) == kPrivileges.size();
}

// The list of a GRANT statement. Who holds all that there are in forms gets the rest too: what the
// database's own application needs to call its routines is among it.
std::string GrantList(const Privileges& privileges) {
  if (HoldsAllButGrant(privileges)) {
    return "ALL PRIVILEGES";
  }
  std::vector<std::string> names;
  for (std::size_t i = 0; i < kPrivileges.size(); ++i) {
    if (privileges.contains(kPrivileges[i].privilege)) {
      names.push_back(kSqlNames[i]);
    }
  }
  return str::Join(names, ", ");
}

// Of a row whose first columns are kColumns.
Privileges ReadColumns(const std::vector<std::string>& row) {
  Privileges privileges;
  for (std::size_t i = 0; i < kPrivileges.size(); ++i) {
    if (row[i] == "Y") {
      privileges.insert(kPrivileges[i].privilege);
    }
  }
  return privileges;
}

// The technical user of a database, let in by a password of its own for as long as this lives.
class Unlocked {
 public:
  Unlocked(MariadbConnection& connection, const std::string& database)
      : connection_(connection), account_(MariadbAccount(TechnicalUser(database), kLocalHost)) {
    const std::string pattern = MariadbGrantPattern(database);
    connection_.Run("CREATE USER IF NOT EXISTS " + account_ + " ACCOUNT LOCK");
    connection_.Run("GRANT ALL PRIVILEGES ON " + pattern + ".* TO " + account_);
    SetPassword("UNLOCK");
  }
  Unlocked(const Unlocked&) = delete;
  Unlocked& operator=(const Unlocked&) = delete;
  ~Unlocked() {
    try {
      SetPassword("LOCK");
    } catch (const Error&) {
      // The server is gone. What lets in is a password that nobody knows any more.
    }
  }

  const std::string& account() const { return account_; }
  const std::string& password() const { return password_; }

 private:
  void SetPassword(const char* lock) {
    password_ = str::hex::Encode(str::Random(16));
    connection_.Run("ALTER USER " + account_ + " IDENTIFIED BY PASSWORD '" +
                    NativePasswordHash(password_) + "' ACCOUNT " + lock);
  }

  MariadbConnection& connection_;
  std::string account_;
  std::string password_;
};

}  // namespace

MariadbConnection& Mariadb::connection() {
  if (!connection_) {
    connection_.emplace(socket_);
  }
  return *connection_;
}

std::string Mariadb::HashOf(const std::string& password) {
  return NativePasswordHash(password);
}

bool Mariadb::HasDatabase(const std::string& database) {
  return !connection()
              .Run("SELECT 1 FROM information_schema.schemata WHERE schema_name = " +
                   connection().Literal(database))
              .empty();
}

bool Mariadb::IsEmpty(const std::string& database) {
  const std::string is = " = " + connection().Literal(database) + " LIMIT 1)";
  return connection()
      .Run("(SELECT 1 FROM information_schema.tables WHERE table_schema" + is +
           " UNION (SELECT 1 FROM information_schema.routines WHERE routine_schema" + is +
           " UNION (SELECT 1 FROM information_schema.events WHERE event_schema" + is)
      .empty();
}

void Mariadb::CreateDatabase(const std::string& database) {
  if (HasDatabase(database)) {
    throw Exists("database", database);
  }
  connection().Run("CREATE DATABASE " + MariadbIdentifier(database) + " CHARACTER SET utf8mb4");
}

void Mariadb::DropDatabase(const std::string& database) {
  connection().Run("DROP DATABASE IF EXISTS " + MariadbIdentifier(database));
  connection().Run("DROP USER IF EXISTS " + MariadbAccount(TechnicalUser(database), kLocalHost));
}

Hosts Mariadb::AccountHosts(const std::string& user) {
  Hosts hosts;
  for (const auto& row :
       connection().Run("SELECT host FROM mysql.user WHERE is_role = 'N' AND user = " +
                        connection().Literal(user))) {
    hosts.insert(row[0]);
  }
  return hosts;
}

bool Mariadb::HasUser(const std::string& user) {
  return !AccountHosts(user).empty();
}

std::string Mariadb::Hash(const std::string& user) {
  for (const auto& row :
       connection().Run("SELECT authentication_string FROM mysql.user "
                        "WHERE is_role = 'N' AND plugin = 'mysql_native_password' AND user = " +
                        connection().Literal(user) + " ORDER BY host <> 'localhost', host")) {
    if (IsHash(Type::kMariadb, row[0])) {
      return row[0];
    }
  }
  return {};
}

// What it holds on all databases counts, and so does what it holds by a pattern of names.
Privileges Mariadb::PrivilegesOf(const std::string& database, const std::string& user) {
  const std::string columns = std::string("SELECT ") + kColumns + " FROM mysql.";
  const std::string where = " WHERE user = " + connection().Literal(user);
  Privileges privileges;
  for (const auto& row :
       connection().Run(columns + "db" + where + " AND " + connection().Literal(database) +
                        " LIKE db UNION ALL " + columns + "user" + where)) {
    privileges.merge(ReadColumns(row));
  }
  return privileges;
}

UserOnServer Mariadb::ReadUser(const std::string& database, const std::string& user) {
  Hosts hosts = AccountHosts(user);
  if (hosts.empty()) {
    throw Missing("database user", user);
  }
  hosts.erase(kLocalHost);
  return {Hash(user), hosts, PrivilegesOf(database, user)};
}

void Mariadb::CreateUser(const std::string& user, const std::string& hash) {
  if (HasUser(user)) {
    throw Exists("database user", user);
  }
  connection().Run("CREATE USER " + MariadbAccount(user, kLocalHost) + " IDENTIFIED BY PASSWORD " +
                   connection().Literal(hash));
}

void Mariadb::SetHash(const std::string& user, const std::string& hash) {
  for (const std::string& host : AccountHosts(user)) {
    connection().Run("ALTER USER " + MariadbAccount(user, host) + " IDENTIFIED BY PASSWORD " +
                     connection().Literal(hash));
  }
}

void Mariadb::SetHosts(const std::string& user, const Hosts& hosts) {
  const std::string hash = Hash(user);
  CheckHash(user, hash);
  Hosts wanted = hosts;
  wanted.insert(kLocalHost);
  const Hosts present = AccountHosts(user);
  for (const std::string& host : wanted) {
    if (!present.contains(host)) {
      AddHost(user, host, hash);
    }
  }
  for (const std::string& host : present) {
    if (!wanted.contains(host)) {
      connection().Run("DROP USER " + MariadbAccount(user, host));
    }
  }
}

void Mariadb::AddHost(const std::string& user, const std::string& host, const std::string& hash) {
  const std::string account = MariadbAccount(user, host);
  connection().Run("CREATE USER " + account + " IDENTIFIED BY PASSWORD " +
                   connection().Literal(hash));
  for (const auto& row :
       connection().Run(std::string("SELECT ") + kColumns +
                        ", db FROM mysql.db WHERE host = 'localhost' AND user = " +
                        connection().Literal(user))) {
    Grant(MariadbIdentifier(row.back()) + ".*", account, ReadColumns(row));
  }
}

void Mariadb::Grant(const std::string& databases, const std::string& account,
                    const Privileges& privileges) {
  const std::string list = GrantList(privileges);
  const bool grant = privileges.contains(Privilege::kGrant) && HoldsAllButGrant(privileges);
  if (!list.empty()) {
    connection().Run("GRANT " + list + " ON " + databases + " TO " + account +
                     (grant ? " WITH GRANT OPTION" : ""));
  }
}

void Mariadb::SetPrivileges(const std::string& database, const std::string& user,
                            const Privileges& privileges) {
  const std::string pattern = MariadbGrantPattern(database) + ".*";
  for (const std::string& host : AccountHosts(user)) {
    const std::string account = MariadbAccount(user, host);
    // Others may have granted without the escapes.
    for (const std::string& name : {pattern, MariadbIdentifier(database) + ".*"}) {
      for (const char* what : {"ALL PRIVILEGES", "GRANT OPTION"}) {
        connection().RunUnless(kNoSuchGrant,
                               std::string("REVOKE ") + what + " ON " + name + " FROM " + account);
      }
    }
    Grant(pattern, account, privileges);
  }
}

void Mariadb::DropUser(const std::string& user) {
  for (const std::string& host : AccountHosts(user)) {
    connection().Run("DROP USER " + MariadbAccount(user, host));
  }
}

std::unique_ptr<DumpStream> Mariadb::Dump(const std::string& database) {
  return StartDump({{"mariadb-dump", "--no-defaults", "--socket=" + socket_, "--user=root",
                     "--single-transaction", "--quick", "--routines", "--triggers", "--events",
                     "--hex-blob", "--no-tablespaces", "--default-character-set=utf8mb4",
                     "--max-allowed-packet=1G", "--", database},
                    {},
                    {}},
                   "dump of database '" + database + "'");
}

void Mariadb::Restore(const std::string& database, int dump, const account::Account& account) {
  RequireWhole(dump, kMariadbDumpEnd);
  const Unlocked unlocked(connection(), database);
  const auto filter = DefinerFilter(unlocked.account());
  Transfer(dump, *filter,
           {{"mariadb", "--no-defaults", "--sandbox", "--binary-mode", "--local-infile=0",
             "--loose-skip-print-query-on-error", "--default-character-set=utf8mb4",
             "--max-allowed-packet=1G", "--socket=" + socket_, "--user=" + TechnicalUser(database),
             "--database=" + database},
            {"MYSQL_PWD=" + unlocked.password()},
            account},
           "restore");
}

}  // namespace panel::dbserver
