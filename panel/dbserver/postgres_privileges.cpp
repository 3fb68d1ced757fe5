#include "panel/dbserver/postgres_privileges.h"

#include "panel/error.h"
#include "trel/str.h"

namespace panel::dbserver {
namespace {

struct TablePrivilege {
  Privilege privilege;
  const char* name;
  const char* on_sequences;  // null: of no meaning there
};

constexpr std::array<TablePrivilege, 5> kTablePrivileges = {{
    {Privilege::kSelect, "SELECT", "SELECT"},
    {Privilege::kInsert, "INSERT", "USAGE"},
    {Privilege::kUpdate, "UPDATE", "UPDATE"},
    {Privilege::kDelete, "DELETE", nullptr},
    {Privilege::kReferences, "REFERENCES", nullptr},
}};

constexpr const char* kTrue = "t";

bool IsOwnership(const Privileges& privileges) {
  return privileges.contains(Privilege::kDrop) || privileges.contains(Privilege::kAlter) ||
         privileges.contains(Privilege::kIndex);
}

// The owner of the connection's database.
struct Owner {
  std::string name;
  bool superuser = false;
};

Owner ReadOwner(PostgresConnection& connection) {
  const auto rows = connection.Run(
      "SELECT rolname, rolsuper FROM pg_roles JOIN pg_database "
      "ON datdba = pg_roles.oid WHERE datname = current_database()");
  return {rows.at(0).at(0), rows.at(0).at(1) == kTrue};
}

std::vector<std::string> Schemas(PostgresConnection& connection) {
  std::vector<std::string> schemas;
  for (const auto& row : connection.Run("SELECT nspname FROM pg_namespace WHERE nspname "
                                        "!~ '^pg_' AND nspname <> 'information_schema'")) {
    schemas.push_back(connection.Identifier(row[0]));
  }
  return schemas;
}

bool IsMemberOfOwner(PostgresConnection& connection, const std::string& user) {
  return connection
             .Run(
                 "SELECT pg_has_role($1, datdba, 'USAGE') FROM pg_database "
                 "WHERE datname = current_database()",
                 {user})
             .at(0)
             .at(0) == kTrue;
}

struct Held {
  bool held = false;
  bool grantable = false;
};

// Tables that other users made for themselves count only where the owner has none.
Held ReadTablePrivilege(PostgresConnection& connection, const std::string& user,
                        const std::string& name) {
  const auto rows = connection.Run(
      "WITH defaults AS (SELECT is_grantable FROM pg_default_acl, aclexplode(defaclacl)"
      "  WHERE defaclobjtype = 'r' AND privilege_type = $2"
      "  AND grantee = (SELECT oid FROM pg_roles WHERE rolname = $1)),"
      "tables AS (SELECT has_table_privilege($1, c.oid, $2) AS held,"
      "  has_table_privilege($1, c.oid, $2 || ' WITH GRANT OPTION') AS grantable,"
      "  relowner = (SELECT datdba FROM pg_database WHERE datname = current_database()) AS own"
      "  FROM pg_class c JOIN pg_namespace n ON n.oid = relnamespace"
      "  WHERE relkind IN ('r', 'p', 'v', 'm', 'f')"
      "  AND nspname !~ '^pg_' AND nspname <> 'information_schema')"
      "SELECT coalesce(bool_and(held) FILTER (WHERE own), bool_and(held),"
      "                EXISTS (SELECT 1 FROM defaults)),"
      "       coalesce(bool_and(grantable) FILTER (WHERE own), bool_and(grantable),"
      "                EXISTS (SELECT 1 FROM defaults WHERE is_grantable)) FROM tables",
      {user, name});
  return {rows.at(0).at(0) == kTrue, rows.at(0).at(1) == kTrue};
}

bool MayCreate(PostgresConnection& connection, const std::string& user) {
  return !connection
              .Run(
                  "SELECT 1 FROM pg_namespace WHERE nspname = 'public' AND "
                  "has_schema_privilege($1, oid, 'CREATE')",
                  {user})
              .empty();
}

// The statements that take everything from one user or give it something.
class Grants {
 public:
  Grants(PostgresConnection& connection, const std::string& user)
      : connection_(connection),
        user_(connection.Identifier(user)),
        owner_(ReadOwner(connection)),
        owner_name_(connection.Identifier(owner_.name)),
        database_("DATABASE " + connection.Identifier(connection.DatabaseName())),
        schemas_(Schemas(connection)),
        is_owner_(owner_.name == user) {}

  void TakeAll() {
    Revoke(database_);
    for (const std::string& schema : schemas_) {
      Revoke("SCHEMA " + schema);
      Revoke("ALL TABLES IN SCHEMA " + schema);
      Revoke("ALL SEQUENCES IN SCHEMA " + schema);
    }
    if (!is_owner_) {
      Default("REVOKE ALL ON TABLES FROM " + user_);
      Default("REVOKE ALL ON SEQUENCES FROM " + user_);
      connection_.Run("REVOKE " + owner_name_ + " FROM " + user_);
    }
  }

  void GiveOwnership() {
    if (owner_.superuser) {
      throw BadValue("drop, alter, index", "on",
                     "the database belongs to a superuser of PostgreSQL, and these privileges are "
                     "the owner's");
    }
    if (!is_owner_) {
      connection_.Run("GRANT " + owner_name_ + " TO " + user_);
    }
  }

  void GiveEntry(bool create) {
    const std::string to = " TO " + user_;
    connection_.Run("GRANT CONNECT, TEMPORARY" + std::string(create ? ", CREATE" : "") + " ON " +
                    database_ + to);
    for (const std::string& schema : schemas_) {
      connection_.Run("GRANT USAGE" + std::string(create ? ", CREATE" : "") + " ON SCHEMA " +
                      schema + to);
    }
  }

  // `kind` is TABLES or SEQUENCES.
  void Give(const std::string& names, const std::string& kind, bool grant) {
    if (names.empty()) {
      return;
    }
    const std::string to = " TO " + user_ + (grant ? " WITH GRANT OPTION" : "");
    for (const std::string& schema : schemas_) {
      connection_.Run("GRANT " + names + " ON ALL " + kind + " IN SCHEMA " + schema + to);
    }
    if (!is_owner_) {
      Default("GRANT " + names + " ON " + kind + to);
    }
  }

 private:
  // What the user gave on to others goes too.
  void Revoke(const std::string& what) {
    connection_.Run("REVOKE ALL ON " + what + " FROM " + user_ + " CASCADE");
  }

  // On what the owner makes later.
  void Default(const std::string& what) {
    connection_.Run("ALTER DEFAULT PRIVILEGES FOR ROLE " + owner_name_ + " " + what);
  }

  PostgresConnection& connection_;
  std::string user_;
  Owner owner_;
  std::string owner_name_;
  std::string database_;
  std::vector<std::string> schemas_;
  bool is_owner_;
};

}  // namespace

Privileges ReadPrivileges(PostgresConnection& connection, const std::string& user) {
  Privileges privileges;
  if (IsMemberOfOwner(connection, user)) {
    for (const PrivilegeField& field : kPrivileges) {
      privileges.insert(field.privilege);
    }
    return privileges;
  }
  for (const TablePrivilege& on_tables : kTablePrivileges) {
    const Held read = ReadTablePrivilege(connection, user, on_tables.name);
    if (read.held) {
      privileges.insert(on_tables.privilege);
    }
    if (read.grantable) {
      privileges.insert(Privilege::kGrant);
    }
  }
  if (privileges.contains(Privilege::kUpdate) || privileges.contains(Privilege::kDelete)) {
    privileges.insert(Privilege::kLock);
  }
  if (MayCreate(connection, user)) {
    privileges.insert(Privilege::kCreate);
  }
  return privileges;
}

void WritePrivileges(PostgresConnection& connection, const std::string& user,
                     const Privileges& privileges) {
  std::vector<std::string> on_tables;
  std::vector<std::string> on_sequences;
  for (const TablePrivilege& table : kTablePrivileges) {
    if (privileges.contains(table.privilege)) {
      on_tables.emplace_back(table.name);
      if (table.on_sequences != nullptr) {
        on_sequences.emplace_back(table.on_sequences);
      }
    }
  }
  const bool grant = privileges.contains(Privilege::kGrant);
  connection.Run("BEGIN");
  Grants grants(connection, user);
  grants.TakeAll();
  grants.GiveEntry(privileges.contains(Privilege::kCreate));
  grants.Give(str::Join(on_tables, ", "), "TABLES", grant);
  grants.Give(str::Join(on_sequences, ", "), "SEQUENCES", grant);
  if (IsOwnership(privileges)) {
    grants.GiveOwnership();
  }
  connection.Run("COMMIT");
}

}  // namespace panel::dbserver
