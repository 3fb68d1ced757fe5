#include "panel/functions/database_changes.h"

#include "panel/dbserver/names.h"
#include "panel/error.h"
#include "trel/str.h"

namespace panel::functions {
namespace {

Error BadPassword(const std::string& user, const std::string& message) {
  return {"value", "password", "", "database user '" + user + "': " + message};
}

void CheckNewName(const Context& context, const Target& target) {
  const std::string& name = target.id.name;
  CheckName(target.server->type(), dbserver::NameOf::kDatabase, "name", name);
  if (str::Lower(name) != name && !context.state.options.Get(kAllowUpperCase)) {
    throw BadValue("name", name,
                   std::string("no capital letters (option ") + kAllowUpperCase + ")");
  }
}

}  // namespace

void RequireSubmitted(const Form& form) {
  if (!form.Submitted()) {
    throw BadValue("sok", form.Get("sok"), "changes are submitted with sok=ok");
  }
}

Target ReadTarget(const Context& context) {
  if (context.session.administrator()) {
    throw BadValue("su", "", "the user that the database belongs to");
  }
  const std::string server = context.form.Require("server");
  Target target{{server, context.form.Require("name")}, OpenServer(context, server)};
  const std::optional<Hosted> found = context.state.hosted.FindDatabase(target.id);
  if (found) {
    RequireOwn(context, kDatabase, *found);
    target.registered = true;
  } else {
    CheckNewName(context, target);
  }
  target.exists = target.server->HasDatabase(target.id.name);
  if (target.exists && !target.registered) {
    throw Exists(kDatabase, target.id.Key());
  }
  return target;
}

void MakeDatabase(const Context& context, const Target& target, Undo& undo) {
  if (!target.exists) {
    target.server->CreateDatabase(target.id.name);
    undo.Add([&target] { target.server->DropDatabase(target.id.name); });
  }
  if (!target.registered) {
    context.state.hosted.AddDatabase({target.id, context.session.user});
    undo.Add([&context, &target] { context.state.hosted.RemoveDatabase(target.id); });
  }
}

std::string ReadHash(const Form& form, dbserver::DatabaseServer& server, const std::string& user) {
  std::string password = form.Get("password");
  if (password != form.Get("confirm")) {
    throw BadPassword(user, "password and confirm differ");
  }
  if (!form.Flag("hash")) {
    if (password.empty()) {
      throw BadPassword(user, "the password is empty");
    }
    return server.HashOf(password);
  }
  server.CheckHash(user, password);
  return password;
}

void MakeUser(const Context& context, dbserver::DatabaseServer& server, const Hosted& user,
              const std::string& hash, Undo& undo) {
  CheckName(server.type(), dbserver::NameOf::kUser, "username", user.id.name);
  if (const std::optional<Hosted> found = context.state.hosted.FindUser(user.id)) {
    RequireOwn(context, kDatabaseUser, *found);
    throw Exists(kDatabaseUser, user.id.name);
  }
  server.CreateUser(user.id.name, hash);
  undo.Add([&server, name = user.id.name] { server.DropUser(name); });
  context.state.hosted.AddUser(user);
  undo.Add([&context, id = user.id] { context.state.hosted.RemoveUser(id); });
}

}  // namespace panel::functions
