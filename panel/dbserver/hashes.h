#pragma once

#include <string>

#include "panel/dbserver/database_server.h"

/// Password hashes of the database servers.
namespace panel::dbserver {

/// Throws Error "value" when `hash` is not one that a server of that type lets somebody in by:
/// mysql_native_password on MariaDB, SCRAM-SHA-256 or MD5 on PostgreSQL. The message names `user`
/// and the kind of hash, never the hash.
void CheckHash(Type type, const std::string& user, const std::string& hash);

/// True when CheckHash takes it.
bool IsHash(Type type, const std::string& hash);

/// The hash of a password as MariaDB's mysql_native_password makes it.
std::string NativePasswordHash(const std::string& password);

}  // namespace panel::dbserver
