#pragma once

#include <optional>

#include "panel/dbserver/database_server.h"
#include "panel/dbserver/mariadb_connection.h"

namespace panel::dbserver {

/// MariaDB. A user is one account on the server for each host that it may log in from, "localhost"
/// always among them, all with the same hash and privileges.
class Mariadb : public DatabaseServer {
 public:
  explicit Mariadb(const Endpoints& endpoints) : socket_(endpoints.mysql_socket) {}

  Type type() const override { return Type::kMariadb; }
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
  MariadbConnection& connection();
  Hosts AccountHosts(const std::string& user);
  std::string Hash(const std::string& user);
  void AddHost(const std::string& user, const std::string& host, const std::string& hash);
  void Grant(const std::string& databases, const std::string& account,
             const Privileges& privileges);
  Privileges PrivilegesOf(const std::string& database, const std::string& user);

  std::string socket_;
  std::optional<MariadbConnection> connection_;
};

}  // namespace panel::dbserver
