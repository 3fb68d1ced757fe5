#pragma once

#include <filesystem>
#include <string>
#include <vector>

/// What the program does for its sub-commands about databases and options. All of them throw
/// std::exception with a message for people when they cannot.
namespace panel::commands {

/// Registers a database server that other hosts have (`contype` "remote") or this one ("local").
void AddDatabaseServer(const std::filesystem::path& state, const std::string& name,
                       const std::string& type, const std::string& contype,
                       const std::string& host);
/// Prints one line a server: name, type, contype, host.
void ListDatabaseServers(const std::filesystem::path& state);

/// Registers a database that the server has already as one of `owner`.
void AddDatabase(const std::filesystem::path& state, const std::string& server,
                 const std::string& name, const std::string& owner);
/// Prints one line a database: server, name, owner, its users.
void ListDatabases(const std::filesystem::path& state);

/// Registers a user that the server has already as one of `owner`, who works with `databases`; with
/// all that `owner` has on that server when there are none.
void AddDatabaseUser(const std::filesystem::path& state, const std::string& server,
                     const std::string& name, const std::string& owner,
                     const std::vector<std::string>& databases);

/// Switches an option "on" or "off".
void SetOption(const std::filesystem::path& state, const std::string& name, bool on);

}  // namespace panel::commands
