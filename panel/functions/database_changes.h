#pragma once

#include <memory>
#include <string>

#include "panel/functions/databases.h"
#include "panel/functions/undo.h"

/// What the functions that change databases share.
namespace panel::functions {

/// Throws Error "value" unless the query submits.
void RequireSubmitted(const Form& form);

/// The database that fields `server` and `name` mean.
struct Target {
  HostedName id;
  std::unique_ptr<dbserver::DatabaseServer> server;
  bool registered = false;  ///< the panel knows it, as one of the session's user
  bool exists = false;      ///< the server has it
};

/// Reads it. Throws Error "value" without a user in whose name to work, for a bad name, and for
/// capital letters in a new one unless the panel's option allows them; "access" for a database of
/// another user, "exists" for one that the server has and the panel does not know.
Target ReadTarget(const Context& context);

/// Makes the target exist, empty if it did not.
void MakeDatabase(const Context& context, const Target& target, Undo& undo);

/// The hash that fields `password`, `confirm` and `hash` give for `user`. Throws Error "value" when
/// they differ, are empty, or hold no hash that the server takes.
std::string ReadHash(const Form& form, dbserver::DatabaseServer& server, const std::string& user);

/// Makes a database user. Throws Error "exists" when the panel or the server has it, "access" when
/// it is one of another user of the panel.
void MakeUser(const Context& context, dbserver::DatabaseServer& server, const Hosted& user,
              const std::string& hash, Undo& undo);

}  // namespace panel::functions
