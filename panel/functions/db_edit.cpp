#include <algorithm>

#include "panel/functions/database_changes.h"
#include "panel/functions/functions.h"

namespace panel::functions {
namespace {

bool WorksWith(const Context& context, const HostedName& database, const std::string& user) {
  const std::vector<std::string> users = context.state.hosted.UsersOf(database);
  return std::find(users.begin(), users.end(), user) != users.end();
}

// A database that is made again, to be filled anew, may bring the user that it has along.
std::string MakeOwner(const Context& context, const Target& target, Undo& undo) {
  std::string user = context.form.Require("username");
  const std::string hash = ReadHash(context.form, *target.server, user);
  if (target.registered && WorksWith(context, target.id, user)) {
    target.server->SetHash(user, hash);
  } else {
    MakeUser(context, *target.server, {{target.id.server, user}, context.session.user}, hash, undo);
  }
  return user;
}

dbserver::Privileges AllPrivileges() {
  dbserver::Privileges privileges;
  for (const dbserver::PrivilegeField& field : dbserver::kPrivileges) {
    privileges.insert(field.privilege);
  }
  return privileges;
}

}  // namespace

void DbEdit(const Context& context, Reply& reply) {
  RequireSubmitted(context.form);
  const Target target = ReadTarget(context);
  const std::string user = context.form.Require("user");
  Undo undo;
  const std::string owner = user == "*"
                                ? MakeOwner(context, target, undo)
                                : RequireDatabaseUser(context, {target.id.server, user}).id.name;
  MakeDatabase(context, target, undo);
  target.server->SetPrivileges(target.id.name, owner, AllPrivileges());
  context.state.hosted.Attach(target.id, owner);
  undo.Clear();
  reply.Add("ok", "");
}

}  // namespace panel::functions
