#include <algorithm>

#include "panel/error.h"
#include "panel/functions/databases.h"
#include "panel/functions/form_description.h"
#include "panel/functions/functions.h"
#include "trel/str.h"

namespace panel::functions {
namespace {

using Kind = FieldDescription::Kind;

/// A database user as the form shows it.
struct Shown {
  HostedName database;
  std::string owner;
  std::string name;
  std::string hash;  ///< empty when it was not asked for
  dbserver::Hosts hosts;
  dbserver::Privileges privileges;
};

bool WorksWith(const Context& context, const HostedName& database, const std::string& user) {
  const std::vector<std::string> users = context.state.hosted.UsersOf(database);
  return std::find(users.begin(), users.end(), user) != users.end();
}

// The names of all databases that the user works with.
std::vector<std::string> DatabasesOf(const Context& context, const Shown& user) {
  std::vector<std::string> names;
  for (const Hosted& database : context.state.hosted.Databases(user.owner)) {
    if (database.id.server == user.database.server && WorksWith(context, database.id, user.name)) {
      names.push_back(database.id.name);
    }
  }
  return names;
}

Shown Read(const Context& context) {
  const Hosted hosted = RequireDatabase(context, "plid");
  const HostedName& database = hosted.id;
  const std::string user = context.form.Require("elid");
  if (!WorksWith(context, database, user)) {
    throw Missing("user of database " + database.Key(), user);
  }
  const dbserver::UserOnServer found = ReadDatabaseUser(context, database, user);
  return {.database = database,
          .owner = hosted.owner,
          .name = user,
          .hash = context.form.Flag("needhash") ? found.hash : "",
          .hosts = found.hosts,
          .privileges = found.privileges};
}

// No list stands for everywhere, as it does where the form is set.
std::string AddressList(const dbserver::Hosts& hosts, const char* separator) {
  return hosts == dbserver::Hosts{"%"} ? "" : str::Join({hosts.begin(), hosts.end()}, separator);
}

// A field is there when the privilege is held: whoever reads the form looks at no more than that.
void ShowPrivileges(const Shown& user, const std::string& suffix, Reply& reply) {
  for (const dbserver::PrivilegeField& field : dbserver::kPrivileges) {
    if (user.privileges.contains(field.privilege)) {
      reply.Add((std::string(field.name) + suffix).c_str(), "on");
    }
  }
}

std::vector<FieldDescription> Describe(std::vector<FieldDescription> fields,
                                       const std::string& suffix) {
  for (const dbserver::PrivilegeField& field : dbserver::kPrivileges) {
    fields.push_back({std::string(field.name) + suffix, Kind::kSwitch});
  }
  return fields;
}

void ShowGeneration4(const Context& context, const Shown& user, Reply& reply) {
  reply.Add("name", user.name);
  reply.Add("dbusername", user.name);
  if (!user.hash.empty()) {
    reply.Add("dbuserhash", user.hash);
  }
  if (!user.hosts.empty()) {
    reply.Add("dbuserhost", "on");
    reply.Add("dbuserhostfrom", AddressList(user.hosts, "\n"));
  }
  ShowPrivileges(user, "_priv", reply);
  const std::vector<std::string> databases = DatabasesOf(context, user);
  for (const std::string& database : databases) {
    reply.Add("dbnames", database);
  }
  DescribeForm(context,
               Describe({{"dbusername"},
                         {"dbuserhost", Kind::kSwitch},
                         {"dbuserhostfrom"},
                         {"dbnames", Kind::kMultiple, databases}},
                        "_priv"),
               reply);
}

void ShowGeneration5(const Context& context, const Shown& user, Reply& reply) {
  reply.Add("name", user.name);
  reply.Add("plid", user.database.Key());
  reply.Add("elid", user.name);
  reply.Add("username", user.name);
  if (!user.hash.empty()) {
    reply.Add("hash", "on");
    reply.Add("password", user.hash);
    reply.Add("confirm", user.hash);
  }
  if (!user.hosts.empty()) {
    reply.Add("remote_access", "on");
    reply.Add("addr_list", AddressList(user.hosts, " "));
  }
  ShowPrivileges(user, "", reply);
  DescribeForm(context,
               Describe({{"username"},
                         {"password"},
                         {"confirm"},
                         {"remote_access", Kind::kSwitch},
                         {"addr_list"}},
                        ""),
               reply);
}

}  // namespace

void DbUsersForm(const Context& context, Reply& reply) {
  const Shown user = Read(context);
  if (context.role.side == Side::kSource && context.role.generation == Generation::k4) {
    ShowGeneration4(context, user, reply);
  } else {
    ShowGeneration5(context, user, reply);
  }
}

}  // namespace panel::functions
