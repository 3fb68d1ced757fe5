#include "panel/dbserver/names.h"
#include "panel/error.h"
#include "panel/functions/database_changes.h"
#include "panel/functions/functions.h"

namespace panel::functions {
namespace {

constexpr const char* kAnyHost = "%";

dbserver::Hosts ReadHosts(const Form& form) {
  dbserver::Hosts hosts = dbserver::ParseHosts("addr_list", form.Get("addr_list"));
  if (!form.Flag("remote_access")) {
    return {};
  }
  return hosts.empty() ? dbserver::Hosts{kAnyHost} : hosts;
}

dbserver::Privileges ReadPrivileges(const Form& form) {
  dbserver::Privileges privileges;
  for (const dbserver::PrivilegeField& field : dbserver::kPrivileges) {
    if (form.Flag(field.name)) {
      privileges.insert(field.privilege);
    }
  }
  return privileges;
}

// The user that is there already, with the new password where there is one.
HostedName TakeUser(const Context& context, dbserver::DatabaseServer& server,
                    const Hosted& database) {
  const Form& form = context.form;
  const Hosted user = RequireDatabaseUser(context, {database.id.server, form.Require("name")});
  if (user.owner != database.owner) {
    throw BadValue("name", user.id.name, "a user of the database's owner");
  }
  if (form.Has("elid") && form.Get("elid") != user.id.name) {
    throw BadValue("elid", form.Get("elid"), "the same as name");
  }
  if (!form.Get("password").empty()) {
    server.SetHash(user.id.name, ReadHash(form, server, user.id.name));
  }
  return user.id;
}

HostedName NewUser(const Context& context, dbserver::DatabaseServer& server, const Hosted& database,
                   Undo& undo) {
  HostedName user{database.id.server, context.form.Require("username")};
  const std::string hash = ReadHash(context.form, server, user.name);
  MakeUser(context, server, {user, database.owner}, hash, undo);
  return user;
}

}  // namespace

void DbUsersEdit(const Context& context, Reply& reply) {
  (context.form.Submitted() ? DbUsersSubmit : DbUsersForm)(context, reply);
}

void DbUsersSubmit(const Context& context, Reply& reply) {
  const Hosted database = RequireDatabase(context, "plid");
  const auto server = OpenServer(context, database.id.server);
  const dbserver::Hosts hosts = ReadHosts(context.form);
  const dbserver::Privileges privileges = ReadPrivileges(context.form);
  Undo undo;
  const HostedName user = context.form.Require("name") == "*"
                              ? NewUser(context, *server, database, undo)
                              : TakeUser(context, *server, database);
  server->SetHosts(user.name, hosts);
  server->SetPrivileges(database.id.name, user.name, privileges);
  context.state.hosted.SetHosts(user, hosts);
  context.state.hosted.Attach(database.id, user.name);
  undo.Clear();
  reply.Add("ok", "");
}

}  // namespace panel::functions
