#pragma once

#include <string>

#include "dbserver/database_server.h"

namespace panel::dbserver {

/// Throws Error "value" naming `field` when `name` cannot name a database or a user on a server of
/// that type: it must be UTF-8 without control characters, slashes, backslashes, "->", a leading
/// dash and blanks at its ends, not be longer than the server allows, and not begin like the
/// panel's own technical users or be a name of the server's own. Quotes and wildcards are allowed.
void CheckName(Type type, const std::string& field, const std::string& name);

/// The same for the panel's name of a server: letters, digits, `_` and `-` alone.
void CheckServerName(const std::string& field, const std::string& name);

/// The technical user that owns what is restored into `database`.
std::string TechnicalUser(const std::string& database);

/// Reads a list of hosts from field `field`, separated by blanks, commas or line feeds. Throws
/// Error "value" for what is no address, host name or pattern of these.
Hosts ParseHosts(const std::string& field, const std::string& list);

}  // namespace panel::dbserver
