#include "transcript/answers.h"

#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>

#include "trel/str.h"

namespace transcript {
namespace {

namespace fs = std::filesystem;

void Look(Story& story, const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  const std::string text{std::istreambuf_iterator<char>(file), {}};
  std::ostringstream mode;
  mode << '0' << std::oct << static_cast<unsigned>(fs::status(path).permissions());
  story.Tell("sees " + mode.str() + story.Render(" '" + text + "' " + path));
}

/// Carries out an answer that every event may have; false for one of the event's own.
bool CarryOut(Story& story, std::string answer) {
  if (TakePrefix(answer, "writes ")) {
    const std::string path = str::GetWord(answer, " = ");
    WriteFile(path, answer);
  } else if (TakePrefix(answer, "makes ")) {
    fs::create_directories(answer);
  } else if (TakePrefix(answer, "removes ")) {
    fs::remove_all(answer);
  } else if (TakePrefix(answer, "look ")) {
    Look(story, answer);
  } else if (TakePrefix(answer, "breaks ")) {
    throw Breakdown(answer);
  } else {
    return false;
  }
  return true;
}

}  // namespace

bool TakePrefix(std::string& text, std::string_view prefix) {
  if (text.rfind(prefix, 0) != 0) return false;
  text.erase(0, prefix.size());
  return true;
}

void WriteFile(const std::string& path, const std::string& text) {
  std::ofstream(path, std::ios::binary) << ReplaceAll(text, "\\n", "\n");
}

std::vector<std::string> Ask(Story& story, const std::string& event) {
  auto answers = story.Tell(event);
  std::erase_if(answers, [&](const std::string& answer) { return CarryOut(story, answer); });
  return answers;
}

CommandAnswer AskCommand(Story& story, const std::string& event) {
  CommandAnswer read;
  for (auto answer : Ask(story, event)) {
    if (TakePrefix(answer, "exit ")) {
      read.status = std::stoi(answer);
    } else if (TakePrefix(answer, "lost ")) {
      read.lost = answer;
    } else {
      read.output += answer + "\n";
    }
  }
  return read;
}

}  // namespace transcript
