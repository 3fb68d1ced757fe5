#include "transcript/runner.h"

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <exception>
#include <fstream>
#include <functional>
#include <iterator>
#include <map>

#include "tarvin/tarvin.h"
#include "tarvin/tarvin_bin.h"
#include "transcript/script.h"
#include "transcript/story.h"
#include "transcript/world.h"
#include "trel/trel_file.h"
#include "trel/trel_log.h"

extern "C" int vormain(int argc, char** argv);
/// Present in a build that measures coverage.
extern "C" void __gcov_dump() __attribute__((weak));

namespace transcript {
namespace {

namespace fs = std::filesystem;

std::string ReadAll(const fs::path& file) {
  std::ifstream text(file, std::ios::binary);
  return {std::istreambuf_iterator<char>(text), {}};
}

/// Where the process that runs the script stands.
struct Stage {
  const World& world;
  Story& story;
  std::string dir;

  std::string Set(const std::string& key) const {
    const auto value = world.set.find(key);
    return value == world.set.end() ? "" : value->second;
  }
  void Tell(const std::string& what, const std::string& text) const {
    story.Tell(what + " " + story.Render(text));
  }
};

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
  if (arguments == "twice") stage.Tell("first returns", std::to_string(files.Result()));
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

void Call(const Stage& stage, const std::string& run) {
  static const std::map<std::string, void (*)(const Stage&, const std::string&)> kVerbs{
      {"vormain", RunVormain},
      {"sync", RunSync},
      {"query", RunQuery},
      {"session", RunSession},
      {"remotecmd", RunRemoteCommand},
      {"options", RunOptions},
      {"params", RunParams},
  };
  std::string arguments = run;
  const auto verb = kVerbs.find(str::GetWord(arguments, ' '));
  if (verb == kVerbs.end()) throw std::runtime_error("cannot run '" + run + "'");
  try {
    verb->second(stage, arguments);
  } catch (const trel_err::Error& error) {
    stage.Tell("throws", error.what());
  }
}

/// Ends the process without what the end of a program does; coverage is kept.
[[noreturn]] void End(int status) {
  if (__gcov_dump != nullptr) __gcov_dump();
  _exit(status);
}

Story* terminated_story = nullptr;

[[noreturn]] void OnTerminate() {
  terminated_story->Tell("terminate");
  End(0);
}

/// What the call printed, line by line.
void TellPrinted(const Stage& stage, const std::string& file) {
  std::fflush(stdout);
  std::istringstream lines(ReadAll(file));
  for (std::string line; std::getline(lines, line);) stage.Tell("prints", line);
}

void TellFiles(const Script& script, Story& story) {
  for (const auto& event : script.story) {
    std::string file = event.text;
    const std::string word = str::GetWord(file, ' ');
    if (word != "there" && word != "gone") continue;
    story.Tell((fs::exists(fs::symlink_status(story.Expand(file))) ? "there " : "gone ") + file);
  }
}

/// The process that runs the script.
void Perform(const Script& script, const std::string& dir, const std::string& story_file) {
  setenv("TZ", "UTC", 1);
  if (chdir(dir.c_str()) != 0) throw std::runtime_error("chdir " + dir);
  const std::string printed = story_file + ".printed";
  if (std::freopen(printed.c_str(), "w", stdout) == nullptr) throw std::runtime_error(printed);
  Story story(script, dir, story_file);
  terminated_story = &story;
  std::set_terminate(OnTerminate);
  const World world(script, story);
  trel_seam::Current() = MakeScripted(world, story);
  const Stage stage{world, story, dir};
  if (script.run.rfind("vormain", 0) != 0) trel_log::Init("test", 9);
  Call(stage, script.run);
  TellPrinted(stage, printed);
  TellFiles(script, story);
  trel_seam::Current() = {};
}

std::string Expected(const Script& script) {
  std::string text;
  for (const auto& event : script.story) text += event.text + "\n";
  return text;
}

}  // namespace

Outcome Run(const fs::path& file) {
  const Script script = Script::Read(file);
  char pattern[] = "/tmp/transcript.XXXXXX";
  const fs::path folder = mkdtemp(pattern);
  const std::string dir = folder / "world";
  const std::string story_file = folder / "story";
  fs::create_directory(dir);
  const pid_t pid = fork();
  if (pid == 0) {
    try {
      Perform(script, dir, story_file);
    } catch (const std::exception& error) {
      std::ofstream(story_file, std::ios::app) << "harness: " << error.what() << "\n";
    }
    std::exit(0);
  }
  int status = 0;
  waitpid(pid, &status, 0);
  Outcome outcome{Expected(script), ReadAll(story_file)};
  if (status != 0) outcome.happened += "ended with wait status " + std::to_string(status) + "\n";
  fs::remove_all(folder);
  return outcome;
}

}  // namespace transcript
