#pragma once

#include <string>
#include <string_view>

#include "panel/dbserver/database_server.h"

namespace panel::dbserver {

enum class NameOf { kDatabase, kUser };

/// Throws Error "value" naming `field` when `name` cannot name a database or a user on a server of
/// that type: it must be UTF-8 without control characters, slashes, backslashes, "->", a leading
/// dash and blanks at its ends, not be longer than the server allows, not begin like the panel's
/// own technical users, and be none of the server's own. Quotes and wildcards are allowed.
void CheckName(Type type, NameOf what, const std::string& field, const std::string& name);

/// The same for the panel's name of a server: letters, digits, `_`, `.` and `-` alone.
void CheckServerName(const std::string& field, const std::string& name);

/// What the names of the panel's own databases and users begin with.
inline constexpr std::string_view kTechnicalPrefix = "panel_";

/// The technical user that owns what is restored into `database`.
std::string TechnicalUser(const std::string& database);

/// Reads a list of hosts from field `field`, separated by blanks, commas or line feeds. Throws
/// Error "value" for what is no address, host name or pattern of these.
Hosts ParseHosts(const std::string& field, const std::string& list);

}  // namespace panel::dbserver
