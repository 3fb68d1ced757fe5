#include "tarvin/tarvin_bin.h"

#include <cstdio>
#include <map>
#include <sstream>

#include "tarvin/log.h"
#include "tarvin/tarvin.h"
#include "trel/trel_date.h"
#include "trel/trel_file.h"

namespace {

const trel_log::Module log_module("tarvin", "vortrel");
constexpr char kSource[] = "tarvin/tarvin_bin";

}  // namespace

namespace tarvin_bin {

// --- Job base --------------------------------------------------------------------------------

ImportAbstract::ImportAbstract(const StringMap& params, const std::string& params_file)
    : params_(params),
      params_file_(params_file),
      lang_(params_["lang"]),
      username_(params_["username"]),
      user_disabled_(params_["user_disabled"] == "on") {}

ImportAbstract::~ImportAbstract() {
  if (!user_disabled_) {
    try {
      trel_client::Local panel("vortrel", "tarvin");
      panel.Query("func=user.resume&elid=" + str::url::Encode(username_));
    } catch (const trel_err::Error& error) {
      RegisterProblem(ProblemId(), "user_resume", {{"value", username_}}, GetError(error));
    }
  }
  trel_file::RemoveFile(params_file_);
}

std::string ImportAbstract::ProblemId() const {
  return username_ + " " + trel_date::DateTime().AsDateTime();
}

void ImportAbstract::RegisterProblem(const std::string& id, const std::string& object,
                                     const StringMap& problem_params,
                                     const std::string& info) const {
  std::string query =
      "func=problems.register&sok=ok&level=error&name=import&id=" + str::url::Encode(id) +
      "&msg_object=" + str::url::Encode(object) + "&info=" + str::url::Encode(info);
  for (const auto& [key, value] : problem_params) {
    str::Append(query, "param_" + key + "=" + str::url::Encode(value), "&");
  }
  try {
    trel_client::Local panel("vortrel", "tarvin");
    panel.Query(query);
  } catch (const trel_err::Error&) {
    TARVIN_LOG(4, "failed to register problem '%s'", id.c_str());
  }
}

std::string ImportAbstract::GetError(const trel_err::Error& error) const {
  // The document is an argument without a placeholder: the line ends before it.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-extra-args"
  TARVIN_LOG(9, "%s:%d error xml: ", TARVIN_PLACE, error.xml().Str(true).c_str());
#pragma GCC diagnostic pop
  if (const auto message = error.xml().GetNode("/doc/error/msg")) return message.Str();
  TARVIN_LOG(4, "there is no message in xml node on error '%s'", error.what());
  return error.what();
}

TrelOptionSet::TrelOptionSet(trel_client::Local& panel) {
  const auto answer = panel.Query("func=optionlist");
  for (const auto& option : answer.GetNodes("/doc/elem/*[text()='on']")) {
    options_.insert(option.Name());
  }
}

bool TrelOptionSet::Has(const std::string& option) {
  return options_.count(option) > 0;
}

// --- Shell switch ----------------------------------------------------------------------------

RemoteShellSwitch::RemoteShellSwitch(StringMap& params)
    : username_(params["username"]), url_(params["url"]), root_auth_(params["root_auth"]) {}

RemoteShellSwitch4::RemoteShellSwitch4(StringMap& params) : RemoteShellSwitch(params) {
  TARVIN_LOG(8, "%s", "tarvin_bin::RemoteShellSwitch4::RemoteShellSwitch4(StringMap&)");
  std::string query = "func=user.edit&sok=ok&shell=on";
  if (!BuildQuery(query)) return;
  switched_on_ = true;
  TARVIN_LOG(1, "Turning on shell access for user '%s' on '%s'", username_.c_str(), url_.c_str());
  tarvin::RemoteQuery(url_, root_auth_, query);
}

RemoteShellSwitch4::~RemoteShellSwitch4() {
  TARVIN_LOG(8, "%s", "virtual tarvin_bin::RemoteShellSwitch4::~RemoteShellSwitch4()");
  if (!switched_on_) return;
  std::string query = "func=user.edit&sok=ok&shell=off";
  BuildQuery(query);
  TARVIN_LOG(1, "Turning off shell access for user '%s' on '%s'", username_.c_str(), url_.c_str());
  tarvin::RemoteQuery(url_, root_auth_, query);
}

bool RemoteShellSwitch4::BuildQuery(std::string& query) {
  const auto form =
      tarvin::RemoteQuery(url_, root_auth_, "func=user.edit&elid=" + str::url::Encode(username_));
  bool is_off = true;
  for (const auto& field : form.GetNodes("/doc/*")) {
    if (!field.IsNode()) continue;
    if (field.Name() == "shell") {
      if (field.Str() == "on") is_off = false;
    } else {
      query += "&" + field.Name() + "=" + str::url::Encode(field.Str());
    }
  }
  return is_off;
}

RemoteShellSwitch5::RemoteShellSwitch5(StringMap& params) : RemoteShellSwitch(params) {
  TARVIN_LOG(8, "%s", "tarvin_bin::RemoteShellSwitch5::RemoteShellSwitch5(StringMap&)");
  const std::string user = str::url::Encode(username_);
  const auto form = tarvin::RemoteQuery(url_, root_auth_, "func=user.edit&elid=" + user);
  const auto shell = form.GetNode("/doc/limit_shell");
  if (shell && shell.Str() == "on") return;
  switched_on_ = true;
  TARVIN_LOG(1, "Turning on shell access for user '%s' on '%s'", username_.c_str(), url_.c_str());
  tarvin::RemoteQuery(url_, root_auth_, "func=user.edit&sok=ok&limit_shell=on&elid=" + user);
}

RemoteShellSwitch5::~RemoteShellSwitch5() {
  TARVIN_LOG(8, "%s", "virtual tarvin_bin::RemoteShellSwitch5::~RemoteShellSwitch5()");
  if (!switched_on_) return;
  TARVIN_LOG(1, "Turning off shell access for user '%s' on '%s'", username_.c_str(), url_.c_str());
  tarvin::RemoteQuery(url_, root_auth_,
                      "func=user.edit&sok=ok&limit_shell=off&elid=" + str::url::Encode(username_));
}

// --- Run sequence ----------------------------------------------------------------------------

Import4::Import4(const StringMap& params, const std::string& params_file)
    : ImportAbstract(params, params_file) {
  userhomedir_ = params_["userhomedir"];
  url_ = params_["url"];
  root_auth_ = params_["root_auth"];
  auth_id_ = tarvin::GetAuthID(url_, root_auth_, username_);
  overwrite_ = params_["overwrite"] == "on";
  ssh_port_ = str::Int(params_["ssh_port"]);
  auth_type_ = params_["auth_type"];
  login_ = params_["login"];
  password_ = str::base64::Decode(params_["password"]);
  import_files_ = params_["import_files"];
  import_databases_ = params_["import_databases"];
  mysql_server_ = params_["mysql_server"];
  pgsql_server_ = params_["pgsql_server"];
}

Import4::~Import4() {
  if (!user_disabled_) return;
  try {
    tarvin::RemoteQuery(url_, root_auth_, "func=user.disable&elid=" + str::url::Encode(username_));
  } catch (const trel_err::Error& error) {
    RegisterProblem(ProblemId(), "ruser_suspend", {{"value", username_}, {"url", url_}},
                    GetError(error));
  }
}

int Import4::Run() {
  int result = 0;
  try {
    LoadRemoteDatabases(import_databases_ == "on");
  } catch (const trel_err::Error& error) {
    RegisterCritical(error);
    result = 1;
  }
  if (import_files_ != "on") return result;
  try {
    CopyRemoteFiles();
    FixDirAccess();
    LetsencryptImport();
  } catch (const trel_err::Error& error) {
    RegisterCritical(error);
    result = 1;
  }
  return result;
}

void Import4::RegisterCritical(const trel_err::Error& error) const {
  RegisterProblem(ProblemId(), "tarvin_critical", {{"username", username_}}, GetError(error));
}

std::string Import4::GetDBDownloadUrl(const std::string& url) const {
  std::string rest = url;
  const std::string scheme = str::GetWord(rest, "://");
  std::string download = scheme + "://" + str::GetWord(rest, '/') + "/zelcgi/dbdownload?";
  TARVIN_LOG(9, "%s:%d dbdownload url is '%s'", TARVIN_PLACE, download.c_str());
  return download;
}

void Import4::LetsencryptImport() {}

void Import5Lite::FixDirAccess() {}

// --- Home files ------------------------------------------------------------------------------

void Import4::CopyRemoteFiles() {
  using tarvin::SyncUserFiles;
  SyncUserFiles::ServerParams source;
  SyncUserFiles::ServerParams destination;
  std::shared_ptr<trel_rpc::SSH> ssh;
  const std::string host = params_["servername"];
  if (auth_type_ == "bykey") {
    const std::string key = params_["masterkey"];
    source.RemoteKey("", url_, login_, key, ssh_port_);
    ssh = std::make_shared<trel_rpc::SSHkey>(host, login_, key, "", ssh_port_);
  } else {
    source.RemotePasswd("", url_, login_, password_, ssh_port_);
    ssh = std::make_shared<trel_rpc::SSHpass>(host, login_, password_, ssh_port_);
  }
  destination.Local(userhomedir_);
  FixRemoteEmailFileAccess(ssh);
  SyncUserFiles files(username_, source, destination, overwrite_, nullptr);
  if (files.Result() != 0) {
    RegisterProblem(ProblemId(), "files", {{"value", username_}}, files.Output());
  }
}

void Import4::FixDirAccess() {
  trel_client::Local panel("vortrel", "tarvin");
  panel.Query("func=webdomain.diraccess.repair&user=" + str::url::Encode(username_) +
              "&remotehomedir=" + str::url::Encode(params_["remotehomedir"]) +
              "&overwrite=" + params_["overwrite"]);
}

// --- Mail files ------------------------------------------------------------------------------

namespace {

/// One line of a passwd file behind its first two fields.
struct SPasswd {
  std::string uid;
  std::string gid;
  std::string gecos;
  std::string homedir;
  std::string shell;
};

/// The accounts of a passwd file by name; of a name that occurs twice the later line holds.
std::map<std::string, SPasswd> ParsePasswd(std::string text) {
  std::map<std::string, SPasswd> accounts;
  std::istringstream lines(std::move(text));
  for (std::string raw; std::getline(lines, raw);) {
    std::string line = str::Trim(raw);
    if (line.empty() || line.front() == '#') continue;
    const std::string name = str::GetWord(line, ':');
    str::GetWord(line, ':');  // the password field
    SPasswd account;
    account.uid = str::GetWord(line, ':');
    account.gid = str::GetWord(line, ':');
    account.gecos = str::GetWord(line, ':');
    account.homedir = str::GetWord(line, ':');
    account.shell = line;
    TARVIN_LOG(9, "%s:%d parsed remote passwd user '%s' homedir '%s'", TARVIN_PLACE, name.c_str(),
               account.homedir.c_str());
    // Names that are numbered come in order, so that the place is known.
    accounts.insert_or_assign(accounts.end(), name, std::move(account));
  }
  return accounts;
}

/// True when the account holds mail of the user whose home is `owner_home`.
bool IsMailAccount(const std::string& name, const std::string& home,
                   const std::string& owner_home) {
  const auto skip = [&](const char* why) {
    TARVIN_LOG(8, "%s skipped user '%s' by %s mismatch", "FixRemoteEmailFileAccess", name.c_str(),
               why);
    return false;
  };
  // A prefix of the text: /home/u1 is one of /home/u10 too.
  if (!home.starts_with(owner_home)) return skip("homedir");
  if (!name.starts_with("virtuser_")) return skip("username mask");
  if (home.find("email") == std::string::npos) return skip("homedir check");
  return true;
}

/// Runs chmod over what `find` finds of the kind `type` below `home`, as the account itself, which
/// owns the files. Home and name stand in the command as they are.
bool ChmodFound(trel_rpc::SSH& ssh, const std::string& name, const std::string& home,
                const std::string& type, const std::string& mode) {
  ssh.Execute("su -s /bin/sh -c \"find " + home + " -type " + type + " -print0|xargs -0 chmod " +
              mode + "\" " + name + " 2>&1");
  return ssh.Result() == 0;
}

}  // namespace

void Import4::FixRemoteEmailFileAccess(std::shared_ptr<trel_rpc::SSH> ssh) {
  TARVIN_LOG(
      8, "%s",
      "virtual void tarvin_bin::Import4::FixRemoteEmailFileAccess(std::shared_ptr<trel_rpc::SSH>)");
  if (params_["remote_type"] != "vortrel4") {
    TARVIN_LOG(9, "%s:%d Remote is not vortrel4, skip fix email file access", TARVIN_PLACE);
    return;
  }
  ssh->Execute("uname -a");
  std::string system = ssh->Str();
  if (str::GetWord(system) == "FreeBSD") {
    TARVIN_LOG(6, "fix email file access for FreeBSD temporary unsupported");
    return;
  }
  ssh->Execute("cat /etc/passwd");
  std::string passwd = ssh->Str();
  if (ssh->Result() != 0) {
    TARVIN_LOG(3, "failed to get remote passwd");
    return;
  }
  const auto accounts = ParsePasswd(std::move(passwd));
  const auto owner = accounts.find(username_);
  if (owner == accounts.end()) {
    TARVIN_LOG(3, "failed to find user '%s' in remote passwd", username_.c_str());
    return;
  }
  for (const auto& [name, account] : accounts) {
    if (!IsMailAccount(name, account.homedir, owner->second.homedir)) continue;
    TARVIN_LOG(8, "%s processing files of user '%s'", "FixRemoteEmailFileAccess", name.c_str());
    if (!ChmodFound(*ssh, name, account.homedir, "d", "g+rx")) {
      TARVIN_LOG(3, "failed to chmod remote email dirs of user '%s' (owner '%s'): '%s'",
                 name.c_str(), username_.c_str(), ssh->Str().c_str());
    }
    if (!ChmodFound(*ssh, name, account.homedir, "f", "g+r")) {
      TARVIN_LOG(3, "failed to chmod remote email files of user '%s' (owner '%s'): '%s'",
                 name.c_str(), username_.c_str(), ssh->Str().c_str());
    }
  }
}

}  // namespace tarvin_bin

// --- Entry -----------------------------------------------------------------------------------

namespace {

using tarvin_bin::ImportAbstract;

/// What one call owns, in this order: the shell switch ends before the job.
struct Import {
  std::shared_ptr<ImportAbstract> job;
  std::unique_ptr<tarvin_bin::RemoteShellSwitch> shell;

  /// The switch comes first, so that the job is made with the user's shell on at the source.
  template <class Switch, class Job>
  void Make(StringMap& params, const std::string& params_file) {
    shell = std::make_unique<Switch>(params);
    job = std::shared_ptr<ImportAbstract>(new Job(params, params_file));
  }
};

}  // namespace

/// The job's entry, which the launcher calls as it would a program's main. argv[1]: the parameters
/// file. Returns the exit status; what is thrown is the launcher's to report.
extern "C" int vormain(int argc, char** argv) {
  using namespace tarvin_bin;
  trel_log::Init("tarvin", 9);
  if (argc != 2) {
    std::puts("Usage: tarvin filename\n\twhere 'filename' - path to tarvin parameters file");
    return 1;
  }
  const std::string params_file = argv[1];
  StringMap params;
  tarvin::BinParams("tarvin_params").Get(params_file, params);
  trel_client::DefaultLang(params["lang"]);
  const std::string remote_type = params["remote_type"];
  Import import;
  if (remote_type == "vortrel4") {
    import.Make<RemoteShellSwitch4, Import4>(params, params_file);
  } else if (remote_type == "vortrel5lite") {
    import.Make<RemoteShellSwitch5, Import5Lite>(params, params_file);
  } else if (remote_type == "vortrel5pro") {
    import.Make<RemoteShellSwitch5, Import5Pro>(params, params_file);
  } else {
    TARVIN_LOG(3, "unknown param value 'remote_type'='%s'", remote_type.c_str());
    return 1;
  }
  TARVIN_LOG(5, "Start import procedure for user '%s'", import.job->UserName().c_str());
  return import.job->Run();
}
