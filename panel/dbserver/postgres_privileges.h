#pragma once

#include "panel/dbserver/postgres_connection.h"

namespace panel::dbserver {

/// What `user` holds on the database of `connection`: on every table that there is, or by default
/// on new ones where there is none.
Privileges ReadPrivileges(PostgresConnection& connection, const std::string& user);

/// Sets it, all at once (see DatabaseServer::SetPrivileges). Throws Error "value" for a privilege
/// that is the ownership of a database that belongs to a superuser.
void WritePrivileges(PostgresConnection& connection, const std::string& user,
                     const Privileges& privileges);

}  // namespace panel::dbserver
