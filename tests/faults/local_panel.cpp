// The local panel, which takes note of whatever no migration should ask of it.

#include <algorithm>

#include "faults/world.h"
#include "support/scratch.h"

namespace faults {
namespace {

std::string Refusal(const std::string& why) {
  return "<doc><error type=\"value\" object=\"path\"><msg>" + why + "</msg></error></doc>";
}

class Panel {
 public:
  Panel(World& world, const StringMap& query) : world_(world), query_(query) {}

  std::string Answer();

 private:
  std::string Get(const std::string& field) const {
    const auto value = query_.find(field);
    return value == query_.end() ? "" : value->second;
  }
  std::string ListDatabases() const;
  std::string ListUsers() const;
  std::string Register();
  /// The database that a change is about; none, and a trespass, when it may not be changed.
  Database* Changed(const std::string& name);
  std::string MakeDatabase();
  std::string Restore();
  std::string EditUser();
  std::string Resume();
  std::string RepairWeb();
  std::string TakeCertificate();

  World& world_;
  const StringMap& query_;
};

std::string Panel::Answer() {
  const std::string function = Get("func");
  if (function == "optionlist.edit") return "<doc><value>off</value></doc>";
  if (function == "db") return ListDatabases();
  if (function == "db.users") return ListUsers();
  if (function == "db.server") {
    return "<doc><elem><name>mysql</name><type>mysql</type><contype>local</contype></elem>"
           "<elem><name>pgsql</name><type>pgsql</type><contype>local</contype></elem></doc>";
  }
  if (function == "actionlist") {
    return "<doc><elem><action>letsencrypt.periodic</action></elem></doc>";
  }
  if (function == "problems.register") return Register();
  if (function == "db.edit") return MakeDatabase();
  if (function == "db.restore") return Restore();
  if (function == "db.users.edit") return EditUser();
  if (function == "user.resume") return Resume();
  if (function == "webdomain.diraccess.repair") return RepairWeb();
  if (function == "letsencrypt.backup.set") return TakeCertificate();
  world_.Trespass("the local panel is asked for " + function);
  return "<doc/>";
}

std::string Panel::ListDatabases() const {
  std::string list;
  for (const auto& [name, database] : world_.state.databases) {
    list += "<elem><name>" + name + "</name><pair>" + name + "-&gt;mysql</pair><owner>" +
            database.owner + "</owner><server>mysql</server></elem>";
  }
  return "<doc>" + list + "</doc>";
}

std::string Panel::ListUsers() const {
  const std::string pair = Get("elid");
  std::string list;
  const auto database = world_.state.databases.find(pair.substr(0, pair.find("->")));
  if (database != world_.state.databases.end()) {
    for (const auto& user : database->second.users)
      list += "<elem><name>" + user + "</name></elem>";
  }
  return "<doc>" + list + "</doc>";
}

std::string Panel::Register() {
  const std::string object = Get("msg_object");
  std::string about = Get("param_value");
  if (about.empty()) about = Get("param_username");
  if (!Get("param_dbusername").empty()) about += "/" + Get("param_dbusername");
  world_.problems.push_back({object, about, Get("info")});
  return "<doc/>";
}

Database* Panel::Changed(const std::string& name) {
  const auto& sent = SourceDatabases();
  const auto before = StateBefore(world_.scenario).databases;
  const auto known = before.find(name);
  const bool is_sent =
      std::any_of(sent.begin(), sent.end(), [&](const auto& one) { return one.name == name; });
  const bool is_foreign = known != before.end() && known->second.owner != kUser;
  const bool is_kept = known != before.end() && !world_.scenario.second;
  if (Get("su") != kUser || !is_sent || is_foreign || is_kept) {
    world_.Trespass(Get("func") + " changes database '" + name + "'");
    return nullptr;
  }
  auto& database = world_.state.databases[name];
  database.owner = kUser;
  return &database;
}

std::string Panel::MakeDatabase() {
  if (auto* database = Changed(Get("name"))) {
    if (Get("user") == "*") database->users.insert(Get("username"));
  }
  return "<doc/>";
}

std::string Panel::Restore() {
  const std::string name = Get("name");
  const std::string dump = support::ReadFile(Get("path"));
  if (dump != DumpOf(name)) return Refusal("not a dump");
  if (auto* database = Changed(name)) database->content = dump;
  return "<doc/>";
}

std::string Panel::EditUser() {
  const std::string pair = Get("plid");
  const std::string name = pair.substr(0, pair.find("->"));
  const std::string user = Get("name") == "*" ? Get("username") : Get("name");
  for (const auto& sent : SourceDatabases()) {
    if (sent.name == name && std::count(sent.users.begin(), sent.users.end(), user) == 0) {
      world_.Trespass("db.users.edit makes user '" + user + "', whom the source did not send");
    }
  }
  if (Get("name") == "*" && Get("hash") == "on" && Get("password") != HashOf(user)) {
    world_.Trespass("db.users.edit gives '" + user + "' another hash");
  }
  if (auto* database = Changed(name)) database->users.insert(user);
  return "<doc/>";
}

std::string Panel::Resume() {
  if (Get("elid") != kUser) world_.Trespass("user.resume of '" + Get("elid") + "'");
  world_.state.in_service = true;
  return "<doc/>";
}

std::string Panel::RepairWeb() {
  if (Get("user") != kUser) world_.Trespass("diraccess.repair for '" + Get("user") + "'");
  world_.state.web_repaired = true;
  return "<doc/>";
}

std::string Panel::TakeCertificate() {
  const std::string name = Get("cert_name");
  if (Get("su") != kUser || Get("acme_key") != "S3-acme-" + name) {
    world_.Trespass("letsencrypt.backup.set of '" + name + "'");
  }
  world_.state.certificates.insert(name);
  return "<doc/>";
}

}  // namespace

std::string AnswerHere(World& world, const StringMap& query) {
  return Panel(world, query).Answer();
}

}  // namespace faults
