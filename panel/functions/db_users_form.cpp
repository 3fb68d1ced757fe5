#include <algorithm>

#include "error.h"
#include "functions/databases.h"
#include "functions/form_description.h"
#include "functions/functions.h"
#include "trel/str.h"

namespace panel::functions {
namespace {

using Kind = FieldDescription::Kind;

/// A database user as the form shows it.
struct Shown {
  HostedName database;
  std::string name;
  std::string hash;  ///< empty when it was not asked for
  dbserver::Hosts hosts;
  dbserver::Privileges privileges;
};

Shown Read(const Context& context) {
  const HostedName database = RequireDatabase(context, "plid").id;
  const std::string user = context.form.Require("elid");
  const std::vector<std::string> users = context.state.hosted.UsersOf(database);
  if (std::find(users.begin(), users.end(), user) == users.end()) {
    throw Missing("user of database " + database.Key(), user);
  }
  const dbserver::UserOnServer found = ReadDatabaseUser(context, database, user);
  return {database, user, context.form.Flag("needhash") ? found.hash : "", found.hosts,
          found.privileges};
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
  const HostedName id{user.database.server, user.name};
  const std::vector<std::string> databases = context.state.hosted.DatabasesOf(id);
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
