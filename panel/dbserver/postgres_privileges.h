#pragma once

#include "panel/dbserver/postgres_connection.h"

namespace panel::dbserver {

/// What `user` holds on the database of `connection`: on every table of the database's owner; where
/// there is none on every table at all; and where there is no table, by default on new ones.
Privileges ReadPrivileges(PostgresConnection& connection, const std::string& user);

/// Sets it, all at once (see DatabaseServer::SetPrivileges). Throws Error "value" for a privilege
/// that is the ownership of a database that belongs to a superuser.
void WritePrivileges(PostgresConnection& connection, const std::string& user,
                     const Privileges& privileges);

}  // namespace panel::dbserver
