#pragma once

#include <optional>

#include "panel/dbserver/database_server.h"
#include "panel/dbserver/postgres_connection.h"

namespace panel::dbserver {

/// PostgreSQL. Every database that the panel makes has an owner of its own, the technical user, who
/// cannot log in; database users get privileges on what is in it, or are made members of the owner.
/// From where users may log in is not kept by the server's databases.
class Postgres : public DatabaseServer {
 public:
  explicit Postgres(const Endpoints& endpoints) : endpoints_(endpoints) {}

  Type type() const override { return Type::kPostgres; }
  std::string HashOf(const std::string& password) override;
  bool HasDatabase(const std::string& database) override;
  bool IsEmpty(const std::string& database) override;
  void CreateDatabase(const std::string& database) override;
  void DropDatabase(const std::string& database) override;
  bool HasUser(const std::string& user) override;
  UserOnServer ReadUser(const std::string& database, const std::string& user) override;
  void CreateUser(const std::string& user, const std::string& hash) override;
  void SetHash(const std::string& user, const std::string& hash) override;
  void SetHosts(const std::string& user, const Hosts& hosts) override;
  void SetPrivileges(const std::string& database, const std::string& user,
                     const Privileges& privileges) override;
  void DropUser(const std::string& user) override;
  std::unique_ptr<DumpStream> Dump(const std::string& database) override;
  void Restore(const std::string& database, int dump, const account::Account& account) override;

 private:
  PostgresConnection& connection();

  Endpoints endpoints_;
  std::optional<PostgresConnection> connection_;  // to the administrator's own database
};

}  // namespace panel::dbserver
