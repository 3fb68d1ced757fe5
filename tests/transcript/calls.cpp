#include "transcript/calls.h"

#include <algorithm>
#include <fstream>
#include <map>
#include <stdexcept>

#include "tarvin/tarvin.h"
#include "tarvin/tarvin_bin.h"
#include "transcript/answers.h"

extern "C" int vormain(int argc, char** argv);

namespace transcript {
namespace {

void RunVormain(const Stage& stage, const std::string& arguments) {
  std::vector<std::string> texts{"tarvin"};
  if (arguments.empty()) {
    const std::string file = stage.dir + "/params";
    std::ofstream lines(file);
    for (const auto& [key, value] : stage.world.params) lines << key << " = " << value << "\n";
    texts.push_back(file);
  } else if (arguments != "without arguments") {
    std::string rest = stage.story.Expand(arguments);
    while (!rest.empty()) texts.push_back(str::GetWord(rest, ' '));
  }
  std::vector<char*> argv;
  for (auto& text : texts) argv.push_back(text.data());
  trel_client::DefaultLang("(that was set before)");
  const int result = vormain(static_cast<int>(argv.size()), argv.data());
  stage.Tell("returns", std::to_string(result));
}

tarvin::SyncUserFiles::ServerParams MakeEnd(const Stage& stage, const std::string& name) {
  const auto get = [&](const std::string& field) { return stage.Set(name + "." + field); };
  tarvin::SyncUserFiles::ServerParams end;
  const int port = str::Int(get("port"));
  if (get("url").empty()) {
    end.Local(get("path"));
  } else if (!get("key").empty()) {
    end.RemoteKey(get("path"), get("url"), get("login"), get("key"), port);
  } else {
    end.RemotePasswd(get("path"), get("url"), get("login"), get("password"), port);
  }
  end.SetRelPath(get("relpath"));
  return end;
}

void RunSync(const Stage& stage, const std::string& arguments) {
  std::list<std::string> excludes;
  std::string rest = stage.Set("excludes");
  while (!rest.empty()) excludes.push_back(str::GetWord(rest, ' '));
  tarvin::SyncUserFiles files(stage.Set("user"), MakeEnd(stage, "src"), MakeEnd(stage, "dst"),
                              stage.Set("overwrite") == "on",
                              excludes.empty() ? nullptr : &excludes);
  if (!stage.Set("checksum").empty()) files.UseRsyncChecksum(stage.Set("checksum") == "on");
  if (arguments == "twice") {
    try {
      stage.Tell("first returns", std::to_string(files.Result()));
    } catch (const trel_err::Error& error) {
      stage.Tell("first throws", error.what());
    }
  }
  stage.Tell("returns", std::to_string(files.Result()));
  stage.Tell("output", "'" + files.Output() + "'");
}

void RunQuery(const Stage& stage, const std::string&) {
  stage.Tell(
      "returns",
      tarvin::RemoteQuery(stage.Set("url"), stage.Set("auth"), stage.Set("query")).Str(false));
}

void RunSession(const Stage& stage, const std::string&) {
  const auto open = [&] {
    return tarvin::GetAuthID(stage.Set("url"), stage.Set("auth"), stage.Set("username"));
  };
  stage.Tell("returns", "'" + open() + "'");
  if (!stage.Set("twice").empty()) stage.Tell("returns", "'" + open() + "'");
}

void RunRemoteCommand(const Stage& stage, const std::string&) {
  const auto ssh = std::make_shared<trel_rpc::SSHpass>("src.example", "root", "secret", 2222);
  stage.Tell(
      "returns",
      "'" + tarvin::ExecuteRemoteRootCommand(ssh, stage.Set("command"), stage.Set("input")) + "'");
}

void RunOptions(const Stage& stage, const std::string& arguments) {
  trel_client::Local panel("vortrel", "tarvin");
  tarvin_bin::TrelOptionSet options(panel);
  std::string names = arguments;
  while (!names.empty()) {
    const std::string name = str::GetWord(names, ' ');
    stage.Tell(options.Has(name) ? "has" : "has not", name);
  }
}

void RunParams(const Stage& stage, const std::string&) {
  StringMap params;
  tarvin::BinParams("tarvin_params").Get(stage.Set("file"), params);
  for (const auto& [key, value] : params) stage.Tell("holds", "'" + key + "' = '" + value + "'");
}

/// The job as far as it takes to call a member that needs no more.
class Job : public tarvin_bin::ImportAbstract {
 public:
  explicit Job(const Stage& stage)
      : ImportAbstract({{"username", stage.Set("username")}, {"user_disabled", "on"}},
                       stage.dir + "/none") {}
  int Run() override { return 0; }
};

void RunProblem(const Stage& stage, const std::string&) {
  StringMap params;
  for (const auto& [name, value] : stage.world.set) {
    std::string key = name;
    if (TakePrefix(key, "param.")) params[key] = value;
  }
  Job(stage).RegisterProblem(stage.Set("id"), stage.Set("object"), params, stage.Set("info"));
}

void RunError(const Stage& stage, const std::string&) {
  try {
    trel_client::Local("vortrel", "tarvin").Query(stage.Set("query"));
  } catch (const trel_err::Error& error) {
    stage.Tell("says", "'" + Job(stage).GetError(error) + "'");
  }
}

void TellParams(const Stage& stage, const trel_xml::Xml& list, bool multi) {
  StringMap params;
  std::string before = stage.Set("before");
  const std::string key = str::GetWord(before, '=');
  if (!key.empty()) params[key] = before;
  tarvin::FillParamsMap(list.GetNode("/doc/elem"), params, stage.Set("skip"), multi);
  std::string text = multi ? "multi" : "single";
  for (const auto& [name, value] : params) text += " " + name + "='" + value + "'";
  stage.Tell("params", text);
}

void RunDetalize(const Stage& stage, const std::string&) {
  const auto list = trel_xml::Xml::Parse(stage.Set("list"));
  try {
    tarvin::Detalize(stage.Set("url"), stage.Set("auth"), stage.Set("func"), stage.Set("key"),
                     list.GetNodes("//elem"));
  } catch (const trel_err::Error& error) {
    stage.Tell("throws", error.what());
  }
  stage.Tell("holds", list.Str(false));
  if (!stage.Wants("params")) return;
  TellParams(stage, list, true);
  TellParams(stage, list, false);
}

void RunInventory(const Stage& stage, const std::string& arguments) {
  const Job job(stage);
  std::map<std::string, tarvin_bin::DBInfo> databases;
  std::map<std::string, std::set<std::string>> server_users;
  try {
    job.GetLocalDBInfo(databases, server_users);
    if (arguments == "twice") job.GetLocalDBInfo(databases, server_users);
  } catch (const trel_err::Error& error) {
    stage.Tell("throws", error.what());
  }
  for (const auto& [name, info] : databases) {
    stage.Tell("database", name + ": " + info.pair + " of " + info.owner + " on " + info.server +
                               ", " + std::to_string(info.users.size()) + " users");
  }
  for (const auto& [server, users] : server_users) {
    stage.Tell("server", server + ": " + str::Join({users.begin(), users.end()}, " "));
  }
}

void RunServer(const Stage& stage, const std::string&) {
  auto document = trel_xml::Xml::Parse(stage.Set("document"));
  stage.Tell("returns", "'" + tarvin_bin::GetServerNameByType(document, stage.Set("type")) + "'");
}

void RunServerType(const Stage& stage, const std::string& arguments) {
  const tarvin_bin::Import4 job({{"user_disabled", "off"}}, stage.dir + "/none");
  stage.Tell("returns", "'" + job.ConvertDBType(arguments) + "'");
}

void RunCertificates(const Stage& stage, const std::string&) {
  tarvin_bin::Import5Lite job({{"url", stage.Set("url")},
                               {"root_auth", stage.Set("auth")},
                               {"username", stage.Set("username")}},
                              stage.dir + "/none");
  job.LetsencryptImport();
}

void TellResult(const Stage& stage, bool result, const std::string& output) {
  stage.Tell("returns", (result ? "true '" : "false '") + output + "'");
}

void RunMb2Md(const Stage& stage, const std::string& arguments) {
  std::string rest = stage.story.Expand(arguments);
  const std::string user = str::GetWord(rest);
  const std::string src = str::GetWord(rest);
  std::string output;
  const bool result = tarvin::Mb2Md(user, src, rest, output);
  TellResult(stage, result, output);
}

void RunMailDir(const Stage& stage, const std::string& arguments) {
  stage.Tell("returns", std::to_string(tarvin::IsMailDirEmail(stage.story.Expand(arguments))));
}

void RunInstall(const Stage& stage, const std::string& arguments) {
  stage.Tell("returns", tarvin::PkgInstall(arguments) ? "true" : "false");
}

void RunInfo(const Stage& stage, const std::string& arguments) {
  std::string info;
  const bool result = tarvin::PkgInfo(arguments, info);
  TellResult(stage, result, info);
}

}  // namespace

std::string Stage::Set(const std::string& key) const {
  const auto value = world.set.find(key);
  return value == world.set.end() ? "" : value->second;
}

bool Stage::Wants(const std::string& word) const {
  return std::any_of(script.story.begin(), script.story.end(),
                     [&](const Event& event) { return event.text.rfind(word + " ", 0) == 0; });
}

void Stage::Tell(const std::string& what, const std::string& text) const {
  story.Tell(what + " " + story.Render(text));
}

void Call(const Stage& stage, const std::string& run) {
  static const std::map<std::string, void (*)(const Stage&, const std::string&)> kVerbs{
      {"vormain", RunVormain},
      {"sync", RunSync},
      {"query", RunQuery},
      {"session", RunSession},
      {"remotecmd", RunRemoteCommand},
      {"options", RunOptions},
      {"params", RunParams},
      {"problem", RunProblem},
      {"error", RunError},
      {"detalize", RunDetalize},
      {"inventory", RunInventory},
      {"server", RunServer},
      {"servertype", RunServerType},
      {"certificates", RunCertificates},
      {"mb2md", RunMb2Md},
      {"maildir", RunMailDir},
      {"install", RunInstall},
      {"info", RunInfo},
  };
  std::string arguments = run;
  const auto verb = kVerbs.find(str::GetWord(arguments, ' '));
  if (verb == kVerbs.end()) throw std::runtime_error("cannot run '" + run + "'");
  try {
    verb->second(stage, arguments);
  } catch (const trel_err::Error& error) {
    stage.Tell("throws", error.what());
  } catch (const Breakdown& breakdown) {
    stage.Tell("breaks", breakdown.what());
  }
}

}  // namespace transcript
