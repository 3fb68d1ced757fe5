#include "panel/dbserver/database_server.h"

#include "panel/dbserver/hashes.h"
#include "panel/dbserver/mariadb.h"
#include "panel/dbserver/postgres.h"
#include "panel/error.h"

namespace panel::dbserver {
namespace {

constexpr std::string_view kMariadb = "mysql";
constexpr std::string_view kPostgres = "pgsql";

}  // namespace

void DatabaseServer::CheckHash(const std::string& user, const std::string& hash) const {
  dbserver::CheckHash(type(), user, hash);
}

std::unique_ptr<DatabaseServer> OpenServer(Type type, const Endpoints& endpoints) {
  if (type == Type::kMariadb) {
    return std::make_unique<Mariadb>(endpoints);
  }
  return std::make_unique<Postgres>(endpoints);
}

std::string_view TypeName(Type type) {
  return type == Type::kMariadb ? kMariadb : kPostgres;
}

Type ParseType(const std::string& name) {
  if (name != kMariadb && name != kPostgres) {
    throw BadValue("type", name, "mysql or pgsql");
  }
  return name == kMariadb ? Type::kMariadb : Type::kPostgres;
}

}  // namespace panel::dbserver
