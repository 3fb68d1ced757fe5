#include "tarvin/log.h"
#include "tarvin/tarvin.h"
#include "tarvin/tarvin_bin.h"
#include "trel/trel_file.h"

namespace {

const trel_log::Module log_module("tarvin", "vortrel");
constexpr char kSource[] = "tarvin/tarvin_bin_lite";

constexpr int kRemoteTimeout = 45;

/// Whether the local panel takes database names with capitals.
bool AllowsUpperCase(trel_client::Local& panel) {
  return panel.Query("func=optionlist.edit&elid=DbAllowUpperCase").value("value") == "on";
}

/// A dump that is about to be fetched into `dir`: a file for its owner alone, gone at the end.
class DumpFile {
 public:
  DumpFile(const std::string& dir, const std::string& database)
      : file_(trel_file::ConcatPath(dir, "tarvin_dump." + database), trel_file::Tmp::kExactName) {
    trel_file::Attrs(0700).SafeSet(Path(), false);
  }
  const std::string& Path() const { return file_.Path(); }

 private:
  trel_file::Tmp file_;
};

}  // namespace

namespace tarvin_bin {

// --- Local inventory -------------------------------------------------------------------------

void ImportAbstract::GetLocalDBInfo(
    std::map<std::string, DBInfo>& databases,
    std::map<std::string, std::set<std::string>>& server_users) const {
  trel_client::Local panel("vortrel", "tarvin");
  for (const auto& database : panel.Query("func=db").elems()) {
    const std::string pair = database.FindNode("pair").Str();
    const std::string owner = database.FindNode("owner").Str();
    const std::string server = database.FindNode("server").Str();
    databases.insert({database.FindNode("name").Str(), DBInfo{pair, owner, server, {}}});
    if (owner != username_) continue;
    TARVIN_LOG(9, "%s:%d checking db users for database '%s' server '%s'", TARVIN_PLACE,
               pair.c_str(), server.c_str());
    for (const auto& user : panel.Query("func=db.users&elid=" + str::url::Encode(pair)).elems()) {
      const std::string name = user.FindNode("name").Str();
      server_users[server].insert(name);
      TARVIN_LOG(9, "%s:%d add user '%s'", TARVIN_PLACE, name.c_str());
    }
  }
}

std::string GetServerNameByType(trel_xml::Xml& servers, const std::string& type) {
  const std::string of_type = "type=" + trel_xml::EscapePropValue(type);
  const auto here =
      servers.GetNode("/doc/elem[" + of_type + " and (host='localhost' or host='127.0.0.1')]/name");
  if (here) return here.Str();
  return servers.GetNode("/doc/elem[" + of_type + "]/name").Str();
}

std::string Import4::ConvertDBType(const std::string& type) const {
  return type == "pgsql" ? "postgresql" : type;
}

// --- What both generations do with one database ----------------------------------------------

bool Import4::KeepsDatabase(const std::string& name, const std::string& owner) const {
  if (owner != username_) {
    TARVIN_LOG(1, "Skipping existing database '%s' (owner '%s')", name.c_str(), owner.c_str());
    RegisterProblem(ProblemId(), "db_alien", {{"value", name}}, "");
    return true;
  }
  if (overwrite_) return false;
  TARVIN_LOG(1, "Skipping existing database '%s'", name.c_str());
  return true;
}

bool Import4::FetchDump(const std::string& name, const std::string& url,
                        const std::string& path) const {
  try {
    trel_rpc::FetchFile(url, path, 0);
    return true;
  } catch (const trel_err::Error& error) {
    TARVIN_LOG(4, "failed to fetch dump of database '%s'", name.c_str());
    RegisterDatabaseFailure("db_dump", name, error);
    return false;
  }
}

bool Import4::RestoreDatabase(trel_client::Local& panel, const std::string& server,
                              const std::string& name, const std::string& path) const {
  StringMap params{{"sok", "ok"},  {"su", username_}, {"server", server},
                   {"name", name}, {"type", "db"},    {"path", path}};
  try {
    panel.Query("func=db.restore", params);
    return true;
  } catch (const trel_err::Error& error) {
    TARVIN_LOG(4, "failed to restore database '%s'", name.c_str());
    RegisterDatabaseFailure("db_restore", name, error);
    return false;
  }
}

void Import4::RegisterDatabaseFailure(const std::string& object, const std::string& name,
                                      const trel_err::Error& error, StringMap params) const {
  params["username"] = username_;
  params["value"] = name;
  RegisterProblem(ProblemId(), object, params, GetError(error));
}

// --- Generation 4 ----------------------------------------------------------------------------

/// One run of the step: what its databases share.
class Import4::DatabaseStep {
 public:
  DatabaseStep(const Import4& job, bool import) : job_(job), import_(import) {}

  void Run();

 private:
  struct Database {
    std::string name;
    std::string key;
    std::string server;  ///< the source's, until the local one is chosen
  };

  void ReadServers();
  void Import(const trel_xml::XmlNode& element);
  bool IsToBeKept(const Database& database) const;
  bool Load(Database& database, const trel_xml::XmlNode& owner, const std::string& dump);
  bool Create(const Database& database, const trel_xml::XmlNode& owner);
  void CreateUser(const Database& database, const trel_xml::XmlNode& user);

  const Import4& job_;
  const bool import_;
  trel_client::Local local_{"vortrel", "tarvin"};
  trel_client::Remote remote_{job_.url_};
  const std::string download_ = job_.GetDBDownloadUrl(job_.url_);
  const bool allow_upper_ = AllowsUpperCase(local_);
  std::map<std::string, DBInfo> databases_;
  StringMap server_types_;
  std::set<std::string> created_users_;
};

void Import4::LoadRemoteDatabases(bool import) {
  DatabaseStep(*this, import).Run();
}

void Import4::DatabaseStep::Run() {
  std::map<std::string, std::set<std::string>> server_users;
  job_.GetLocalDBInfo(databases_, server_users);
  remote_.SetTimeout(kRemoteTimeout);
  tarvin::Detalize(job_.url_, job_.auth_id_, "dbconf.edit", "name",
                   remote_.Query("func=dbconf&auth=?", job_.auth_id_).elems());
  ReadServers();
  for (const auto& element : remote_.Query("func=db&auth=?", job_.auth_id_).elems()) {
    Import(element);
  }
}

void Import4::DatabaseStep::ReadServers() {
  for (const auto& server : local_.Query("func=db.server&out=xml").elems()) {
    const std::string name = server.FindNode("name").Str();
    if (server.FindNode("contype").Str() == "local") {
      TARVIN_LOG(9, "%s:%d DB server '%s' connected as local, using for import", TARVIN_PLACE,
                 name.c_str());
      server_types_[name] = job_.ConvertDBType(server.FindNode("type").Str());
    } else {
      TARVIN_LOG(9, "%s:%d DB server '%s' connected as remote, do not using for import",
                 TARVIN_PLACE, name.c_str());
    }
  }
}

void Import4::DatabaseStep::Import(const trel_xml::XmlNode& element) {
  Database database{element.FindNode("name").Str(), element.FindNode("dbkey").Str(),
                    element.FindNode("dbtype").Str()};
  if (!allow_upper_) database.name = str::Lower(database.name);
  if (server_types_.count(database.server) == 0) {
    TARVIN_LOG(1, "Skipping remotely connected database '%s' (owner '%s')", database.name.c_str(),
               job_.username_.c_str());
    return;
  }
  const auto users =
      remote_.Query("func=db.users&elid=?&auth=?", database.key, job_.auth_id_).elems();
  tarvin::Detalize(job_.url_, job_.auth_id_,
                   "db.users.edit&needhash=on&plid=" + str::url::Encode(database.key), "name",
                   users);
  if (users.begin() == users.end()) {
    TARVIN_LOG(4,
               "There is no users imported for database '%s' owner '%s', skipping database import",
               database.name.c_str(), job_.username_.c_str());
    return;
  }
  if (IsToBeKept(database)) return;
  TARVIN_LOG(5, "Restoring database '%s'", database.name.c_str());
  const DumpFile dump(job_.userhomedir_, database.name);
  if (import_ && !Load(database, *users.begin(), dump.Path())) return;
  for (const auto& user : users) CreateUser(database, user);
}

/// True for a database that is here already and may not be replaced.
bool Import4::DatabaseStep::IsToBeKept(const Database& database) const {
  const auto known = databases_.find(database.name);
  return known != databases_.end() && job_.KeepsDatabase(database.name, known->second.owner);
}

/// Brings the database itself here, whose owner is its first user. False when a step failed.
bool Import4::DatabaseStep::Load(Database& database, const trel_xml::XmlNode& owner,
                                 const std::string& dump) {
  const std::string url = download_ + "elid=" + database.name + "&auth=" + job_.auth_id_;
  if (!job_.FetchDump(database.name, url, dump)) return false;
  database.server =
      server_types_[database.server] == "mysql" ? job_.mysql_server_ : job_.pgsql_server_;
  return Create(database, owner) &&
         job_.RestoreDatabase(local_, database.server, database.name, dump);
}

bool Import4::DatabaseStep::Create(const Database& database, const trel_xml::XmlNode& owner) {
  const std::string user = owner.FindNode("dbusername").Str();
  StringMap params{
      {"sok", "ok"}, {"su", job_.username_}, {"server", database.server}, {"name", database.name}};
  if (created_users_.count(str::Lower(user)) > 0) {
    params["user"] = user;
  } else {
    params["user"] = "*";
    params["username"] = user;
    params["hash"] = "on";
    params["password"] = params["confirm"] = owner.FindNode("dbuserhash").Str();
  }
  try {
    local_.Query("func=db.edit", params);
  } catch (const trel_err::Error& error) {
    TARVIN_LOG(4, "failed to create database '%s'", database.name.c_str());
    job_.RegisterDatabaseFailure("db_restore", database.name, error);
    return false;
  }
  created_users_.insert(str::Lower(user));
  return true;
}

void Import4::DatabaseStep::CreateUser(const Database& database, const trel_xml::XmlNode& user) {
  const std::string name = str::Lower(user.FindNode("dbusername").Str());
  StringMap params{{"sok", "ok"},
                   {"tarvin_import", "on"},
                   {"su", job_.username_},
                   {"plid", database.name + "->" + database.server}};
  if (created_users_.count(name) > 0) {
    params["name"] = params["elid"] = name;
  } else {
    params["name"] = "*";
    params["username"] = name;
    params["hash"] = "on";
    params["password"] = params["confirm"] = user.FindNode("dbuserhash").Str();
  }
  if (user.FindNode("dbuserhost")) params["remote_access"] = "on";
  params["addr_list"] = user.FindNode("dbuserhostfrom").Str();
  for (const char* privilege : {"select", "insert", "update", "delete", "create", "drop", "alter",
                                "index", "grant", "references", "lock"}) {
    // Held by being there, whatever the field says.
    params[privilege] = user.FindNode(std::string(privilege) + "_priv") ? "on" : "off";
  }
  try {
    local_.Query("func=db.users.edit", params);
    created_users_.insert(name);
  } catch (const trel_err::Error& error) {
    TARVIN_LOG(4, "failed to create database user '%s'", name.c_str());
    job_.RegisterDatabaseFailure("db_user_create", database.name, error, {{"dbusername", name}});
  }
}

// --- Generation 5 ----------------------------------------------------------------------------

/// One run of the step: what its databases share.
class Import5Lite::DatabaseStep {
 public:
  DatabaseStep(const Import5Lite& job, bool fetch_dumps) : job_(job), fetch_dumps_(fetch_dumps) {}

  void Run();

 private:
  /// The database in hand.
  struct Database {
    std::string name;
    std::string pair;
    std::string source_server;
    std::string server;  ///< the local one
    std::set<std::string> existing_users;
  };

  void Import(const trel_xml::XmlNode& element);
  bool IsToBeKept(Database& database) const;
  void ImportUsers(const Database& database);
  void CreateUser(const Database& database, const trel_xml::XmlNode& user);
  void CompletePassword(const std::string& user, StringMap& params) const;

  const Import5Lite& job_;
  const bool fetch_dumps_;
  trel_client::Local local_{"vortrel", "tarvin"};
  trel_client::Remote source_{job_.url_};
  const bool allow_upper_ = AllowsUpperCase(local_);
  std::map<std::string, DBInfo> databases_;
  std::map<std::string, std::set<std::string>> server_users_;
  StringMap source_servers_;
  /// Keeps its value from one database to the next, as the first line of Import shows.
  std::string name_;
};

void Import5Lite::LoadRemoteDatabases(bool import) {
  DatabaseStep(*this, import).Run();
}

void Import5Lite::DatabaseStep::Run() {
  job_.GetLocalDBInfo(databases_, server_users_);
  source_.SetTimeout(kRemoteTimeout);
  for (const auto& server : source_.Query("func=db.server&auth=?", job_.root_auth_).elems()) {
    source_servers_[server.FindNode("name").Str()] = server.FindNode("type").Str();
  }
  const auto databases = source_.Query("func=db&auth=?", job_.auth_id_).elems();
  local_.Query("func=db.server&out=xml");
  for (const auto& element : databases) Import(element);
}

void Import5Lite::DatabaseStep::Import(const trel_xml::XmlNode& element) {
  const std::string source_server = element.FindNode("server").Str();
  if (source_servers_.count(source_server) == 0) {
    // The name is that of the database before: this one's has not been read yet.
    TARVIN_LOG(1, "Skipping remotely connected database '%s' (owner '%s')", name_.c_str(),
               job_.username_.c_str());
    return;
  }
  name_ = element.FindNode("name").Str();
  if (!allow_upper_) name_ = str::Lower(name_);
  Database database{name_, element.FindNode("pair").Str(), source_server, "", {}};
  if (IsToBeKept(database)) return;
  TARVIN_LOG(5, "Restoring database '%s'", name_.c_str());
  const DumpFile dump(job_.userhomedir_, name_);
  const std::string url =
      job_.url_ + "?func=db.dump&elid=" + database.pair + "&auth=" + job_.auth_id_;
  if (fetch_dumps_ && !job_.FetchDump(name_, url, dump.Path())) return;
  database.server =
      source_servers_[source_server] == "mysql" ? job_.mysql_server_ : job_.pgsql_server_;
  if (!job_.RestoreDatabase(local_, database.server, name_, dump.Path())) return;
  ImportUsers(database);
}

/// True for a database that is here already and may not be replaced. The source's name of the
/// server is looked for, as if servers were named alike on both hosts.
bool Import5Lite::DatabaseStep::IsToBeKept(Database& database) const {
  const auto known = databases_.find(database.name);
  if (known == databases_.end() || known->second.server != database.source_server) return false;
  if (job_.KeepsDatabase(database.name, known->second.owner)) return true;
  database.existing_users = known->second.users;
  return false;
}

void Import5Lite::DatabaseStep::ImportUsers(const Database& database) {
  const auto list = source_.Query("func=db.users&elid=?&auth=?", database.pair, job_.auth_id_);
  tarvin::Detalize(job_.url_, job_.auth_id_,
                   "db.users.edit&needhash=on&plid=" + str::url::Encode(database.pair), "name",
                   list.elems());
  TARVIN_LOG(9, "%s:%d imported db users xml:\n%s", TARVIN_PLACE, list.Str(true).c_str());
  for (const auto& user : list.elems()) CreateUser(database, user);
}

void Import5Lite::DatabaseStep::CreateUser(const Database& database,
                                           const trel_xml::XmlNode& user) {
  const std::string name = user.FindNode("name").Str();
  // By the source's name of the server, while the inventory has the local ones.
  auto& known_users = server_users_[database.source_server];
  StringMap params;
  tarvin::FillParamsMap(user, params, "plid,elid,name,username", false);
  params["sok"] = "ok";
  params["tarvin_import"] = "on";
  params["su"] = job_.username_;
  params["plid"] = database.name + "->" + database.server;
  if (known_users.count(name) == 0) {
    params["name"] = "*";
    params["username"] = name;
    CompletePassword(name, params);
  } else {
    params["name"] = name;
    // The inventory leaves the users of a database empty: for now no element is named.
    if (database.existing_users.contains(name)) params["elid"] = name;
  }
  try {
    local_.Query("func=db.users.edit", params);
    known_users.insert(name);
  } catch (const trel_err::Error& error) {
    // The line names the database; the user is in the problem.
    TARVIN_LOG(4, "failed to create database user '%s'", database.name.c_str());
    job_.RegisterDatabaseFailure("db_user_create", database.name, error, {{"dbusername", name}});
  }
}

/// Makes the password fields of a new user complete: a hash stays as the form gave it, a password
/// is confirmed, and without either the user gets a random password.
void Import5Lite::DatabaseStep::CompletePassword(const std::string& user, StringMap& params) const {
  if (params["password"].empty()) {
    TARVIN_LOG(4, "resetting password for DB user '%s' (no hash imported)", user.c_str());
    params["password"] = params["confirm"] = str::hex::Encode(str::Random(6));
    params["hash"] = "off";
  } else if (params["hash"] != "on") {
    params["confirm"] = params["password"];
  }
}

}  // namespace tarvin_bin
