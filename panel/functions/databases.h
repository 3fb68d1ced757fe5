#pragma once

#include <memory>
#include <string>

#include "panel/dbserver/database_server.h"
#include "panel/function.h"

/// What the functions about databases share.
namespace panel::functions {

/// What errors call them.
inline constexpr const char* kDatabase = "database";
inline constexpr const char* kDatabaseUser = "database user";

/// Throws Error "access" when `hosted`, a `what`, belongs to another user than the session's.
void RequireOwn(const Context& context, const std::string& what, const Hosted& hosted);
/// The database of that key in field `field`. Throws Error "value" for a field that is no key,
/// "missing" when there is no such database, and "access" when it belongs to another user than the
/// session's.
Hosted RequireDatabase(const Context& context, const std::string& field);
/// The same for a database user.
Hosted RequireDatabaseUser(const Context& context, const HostedName& id);

/// The server of that name. Throws Error "missing" for an unknown one and "value" for a remote one.
std::unique_ptr<dbserver::DatabaseServer> OpenServer(const Context& context,
                                                     const std::string& server);

/// What is known about a user that works with `database`, from the server and, where the server
/// does not keep them, its hosts from the state.
dbserver::UserOnServer ReadDatabaseUser(const Context& context, const HostedName& database,
                                        const std::string& user);

}  // namespace panel::functions
