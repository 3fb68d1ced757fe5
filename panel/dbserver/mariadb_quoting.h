#pragma once

#include <string>

/// Names in statements of MariaDB.
namespace panel::dbserver {

/// `name` as an identifier of SQL.
std::string MariadbIdentifier(const std::string& name);
/// `host` of `user` as an account of SQL.
std::string MariadbAccount(const std::string& user, const std::string& host);
/// `database` as GRANT takes it, where names are patterns.
std::string MariadbGrantPattern(const std::string& database);

}  // namespace panel::dbserver
