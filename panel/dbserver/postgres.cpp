#include "panel/dbserver/postgres.h"

#include "panel/dbserver/dump_transfer.h"
#include "panel/dbserver/hashes.h"
#include "panel/dbserver/names.h"
#include "panel/dbserver/postgres_privileges.h"
#include "panel/error.h"
#include "trel/str.h"

namespace panel::dbserver {
namespace {

constexpr const char* kAdministrator = "postgres";

// The technical user of a database, let in by a password of its own for as long as this lives.
class Unlocked {
 public:
  Unlocked(PostgresConnection& connection, const std::string& database)
      : connection_(connection),
        role_(connection.Identifier(TechnicalUser(database))),
        password_(str::hex::Encode(str::Random(16))) {
    connection_.Run("ALTER ROLE " + role_ + " LOGIN PASSWORD " +
                    connection_.Literal(connection_.HashOf(password_)));
  }
  Unlocked(const Unlocked&) = delete;
  Unlocked& operator=(const Unlocked&) = delete;
  ~Unlocked() {
    try {
      connection_.Run("ALTER ROLE " + role_ + " NOLOGIN PASSWORD NULL");
    } catch (const Error&) {
      // The server is gone. What lets in is a password that nobody knows any more.
    }
  }

  const std::string& password() const { return password_; }

 private:
  PostgresConnection& connection_;
  std::string role_;
  std::string password_;
};

}  // namespace

PostgresConnection& Postgres::connection() {
  if (!connection_) {
    connection_.emplace(endpoints_, kAdministrator);
  }
  return *connection_;
}

std::string Postgres::HashOf(const std::string& password) {
  return connection().HashOf(password);
}

bool Postgres::HasDatabase(const std::string& database) {
  return !connection().Run("SELECT 1 FROM pg_database WHERE datname = $1", {database}).empty();
}

bool Postgres::IsEmpty(const std::string& database) {
  return PostgresConnection(endpoints_, database)
      .Run(
          "SELECT 1 FROM pg_depend JOIN pg_namespace n ON refobjid = n.oid "
          "WHERE refclassid = 'pg_namespace'::regclass AND nspname !~ '^pg_' "
          "AND nspname <> 'information_schema' "
          "UNION SELECT 1 FROM pg_namespace WHERE nspname !~ '^pg_' "
          "AND nspname NOT IN ('public', 'information_schema') "
          "UNION SELECT 1 FROM pg_largeobject_metadata LIMIT 1")
      .empty();
}

// Otherwise every user of the server could enter.
void Postgres::CreateDatabase(const std::string& database) {
  if (HasDatabase(database)) {
    throw Exists("database", database);
  }
  const std::string name = connection().Identifier(database);
  const std::string owner = connection().Identifier(TechnicalUser(database));
  if (!HasUser(TechnicalUser(database))) {
    connection().Run("CREATE ROLE " + owner + " NOLOGIN");
  }
  connection().Run("CREATE DATABASE " + name + " OWNER " + owner +
                   " TEMPLATE template0 ENCODING 'UTF8'");
  connection().Run("REVOKE ALL ON DATABASE " + name + " FROM PUBLIC");
}

void Postgres::DropDatabase(const std::string& database) {
  connection().Run("DROP DATABASE IF EXISTS " + connection().Identifier(database) +
                   " WITH (FORCE)");
  connection().Run("DROP ROLE IF EXISTS " + connection().Identifier(TechnicalUser(database)));
}

bool Postgres::HasUser(const std::string& user) {
  return !connection().Run("SELECT 1 FROM pg_roles WHERE rolname = $1", {user}).empty();
}

UserOnServer Postgres::ReadUser(const std::string& database, const std::string& user) {
  const auto rows =
      connection().Run("SELECT rolpassword FROM pg_authid WHERE rolname = $1", {user});
  if (rows.empty()) {
    throw Missing("database user", user);
  }
  PostgresConnection inside(endpoints_, database);
  const std::string& hash = rows.at(0).at(0);
  return {IsHash(Type::kPostgres, hash) ? hash : "", {}, ReadPrivileges(inside, user)};
}

void Postgres::CreateUser(const std::string& user, const std::string& hash) {
  if (HasUser(user)) {
    throw Exists("database user", user);
  }
  connection().Run("CREATE ROLE " + connection().Identifier(user) + " LOGIN PASSWORD " +
                   connection().Literal(hash));
}

void Postgres::SetHash(const std::string& user, const std::string& hash) {
  connection().Run("ALTER ROLE " + connection().Identifier(user) + " PASSWORD " +
                   connection().Literal(hash));
}

void Postgres::SetHosts(const std::string& /*user*/, const Hosts& /*hosts*/) {}

void Postgres::SetPrivileges(const std::string& database, const std::string& user,
                             const Privileges& privileges) {
  PostgresConnection inside(endpoints_, database);
  WritePrivileges(inside, user, privileges);
}

void Postgres::DropUser(const std::string& user) {
  connection().Run("DROP ROLE IF EXISTS " + connection().Identifier(user));
}

// Names of databases go by the environment: as arguments they could be read as whole connections.
std::unique_ptr<DumpStream> Postgres::Dump(const std::string& database) {
  return StartDump(
      {{"pg_dump", "--no-owner", "--no-privileges", "--no-password", "--username=postgres",
        "--host=" + endpoints_.pgsql_socket, "--port=" + endpoints_.pgsql_port},
       {"PGDATABASE=" + database},
       account::Require(kAdministrator)},
      "dump of database '" + database + "'");
}

void Postgres::Restore(const std::string& database, int dump, const account::Account& account) {
  RequireWhole(dump, kPostgresDumpEnd);
  const Unlocked unlocked(connection(), database);
  const auto filter = RestrictFilter(str::hex::Encode(str::Random(16)));
  Transfer(
      dump, *filter,
      {{"psql", "--no-psqlrc", "--quiet", "--no-password", "--set=ON_ERROR_STOP=1",
        "--single-transaction", "--host=127.0.0.1", "--port=" + endpoints_.pgsql_port, "--file=-"},
       {"PGDATABASE=" + database, "PGUSER=" + TechnicalUser(database),
        "PGPASSWORD=" + unlocked.password()},
       account},
      "restore");
}

}  // namespace panel::dbserver
