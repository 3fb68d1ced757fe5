#include "transcript/runner.h"

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <exception>
#include <fstream>
#include <iterator>

#include "transcript/calls.h"
#include "transcript/script.h"
#include "transcript/story.h"
#include "transcript/world.h"
#include "trel/trel_file.h"
#include "trel/trel_log.h"

/// Present in a build that measures coverage.
extern "C" void __gcov_dump() __attribute__((weak));

namespace transcript {
namespace {

namespace fs = std::filesystem;

std::string ReadAll(const fs::path& file) {
  std::ifstream text(file, std::ios::binary);
  return {std::istreambuf_iterator<char>(text), {}};
}

/// Ends the process without what the end of a program does; coverage is kept.
[[noreturn]] void End(int status) {
  if (__gcov_dump != nullptr) __gcov_dump();
  _exit(status);
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

/// What is still to be told when the process is ended early.
const Script* terminated_script = nullptr;
Story* terminated_story = nullptr;

[[noreturn]] void OnTerminate() {
  terminated_story->Tell("terminate");
  TellFiles(*terminated_script, *terminated_story);
  End(0);
}

/// The process that runs the script.
void Perform(const Script& script, const std::string& dir, const std::string& story_file) {
  setenv("TZ", "UTC", 1);
  setenv("PATH", (dir + "/bin").c_str(), 1);
  if (chdir(dir.c_str()) != 0) throw std::runtime_error("chdir " + dir);
  const std::string printed = story_file + ".printed";
  if (std::freopen(printed.c_str(), "w", stdout) == nullptr) throw std::runtime_error(printed);
  Story story(script, dir, story_file);
  terminated_script = &script;
  terminated_story = &story;
  std::set_terminate(OnTerminate);
  const World world(script, story);
  trel_seam::Current() = MakeScripted(world, story);
  const Stage stage{script, world, story, dir};
  if (script.run.rfind("vormain", 0) != 0) trel_log::Init("test", world.enabled_level);
  Call(stage, script.run);
  TellPrinted(stage, printed);
  TellFiles(script, story);
  trel_seam::Current() = {};
  terminated_story = nullptr;
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
