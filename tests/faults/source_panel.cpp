// The source panel, of all generations.

#include "faults/world.h"

namespace faults {
namespace {

/// Databases go by "NAME->SERVER" there.
std::string NameIn(const std::string& pair) {
  return pair.substr(0, pair.find("->"));
}

const SourceDatabase* Find(const std::string& name) {
  for (const auto& database : SourceDatabases()) {
    if (database.name == name) return &database;
  }
  return nullptr;
}

std::string EditUser(World& world, const StringMap& query) {
  const std::string field = world.scenario.IsGeneration4() ? "shell" : "limit_shell";
  const auto submitted = query.find("sok");
  if (submitted != query.end()) {
    world.state.shell_on = query.at(field) == "on";
    return "<doc/>";
  }
  return "<doc><elid>user1</elid><" + field + ">" + (world.state.shell_on ? "on" : "off") + "</" +
         field + "><disklimit>100</disklimit></doc>";
}

std::string ListDatabases(const World& world) {
  std::string list;
  for (const auto& database : SourceDatabases()) {
    const std::string pair = database.name + "-&gt;" + database.server;
    list += "<elem><name>" + database.name + "</name>";
    if (world.scenario.IsGeneration4()) {
      list += "<dbkey>" + pair + "</dbkey><dbtype>" + database.server + "</dbtype></elem>";
    } else {
      list += "<pair>" + pair + "</pair><server>" + database.server + "</server></elem>";
    }
  }
  return "<doc func=\"db\">" + list + "</doc>";
}

std::string ListUsers(const std::string& name) {
  std::string list;
  if (const auto* database = Find(name)) {
    for (const auto& user : database->users) list += "<elem><name>" + user + "</name></elem>";
  }
  return "<doc func=\"db.users\">" + list + "</doc>";
}

std::string ShowUser(const World& world, const std::string& user) {
  if (world.scenario.IsGeneration4()) {
    return "<doc><dbusername>" + user + "</dbusername><dbuserhash>" + HashOf(user) +
           "</dbuserhash><select_priv>on</select_priv></doc>";
  }
  return "<doc><name>" + user + "</name><password>" + HashOf(user) + "</password><confirm>" +
         HashOf(user) + "</confirm><hash>on</hash></doc>";
}

std::string ListServers() {
  return "<doc><elem><name>mysql</name><type>mysql</type></elem>"
         "<elem><name>pgsql</name><type>postgresql</type></elem></doc>";
}

std::string ListCertificates() {
  return "<doc><elem><name>first</name><letsencrypt>on</letsencrypt></elem>"
         "<elem><name>second</name><letsencrypt>on</letsencrypt></elem></doc>";
}

std::string ShowCertificate(const std::string& name) {
  return "<doc><backup><cert_name>" + name + "</cert_name><acme_key>S3-acme-" + name +
         "</acme_key></backup></doc>";
}

}  // namespace

std::string AnswerOfSource(World& world, const StringMap& query) {
  const auto get = [&](const std::string& field) {
    const auto value = query.find(field);
    return value == query.end() ? "" : value->second;
  };
  const std::string function = get("func");
  if (function == "user.edit") return EditUser(world, query);
  if (function == "session.newkey") return "<doc/>";
  if (function == "auth") return "<doc><auth>S3-user-key</auth></doc>";
  if (function == "dbconf") return "<doc><elem><name>mysql</name></elem></doc>";
  if (function == "dbconf.edit") return "<doc><name>mysql</name><host>localhost</host></doc>";
  if (function == "db.server") return ListServers();
  if (function == "db") return ListDatabases(world);
  if (function == "db.users") return ListUsers(NameIn(get("elid")));
  if (function == "db.users.edit") return ShowUser(world, get("elid"));
  if (function == "actionlist") {
    return "<doc><elem><action>letsencrypt.periodic</action></elem></doc>";
  }
  if (function == "sslcert") return ListCertificates();
  if (function == "letsencrypt.backup.get") return ShowCertificate(get("cert_name"));
  if (function == "user.disable") {
    world.state.disabled_at_source = true;
    return "<doc/>";
  }
  world.Trespass("the source panel is asked for " + function);
  return "<doc/>";
}

}  // namespace faults
