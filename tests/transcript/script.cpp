#include "transcript/script.h"

#include <fstream>
#include <stdexcept>

namespace transcript {
namespace {

constexpr std::string_view kAnswer = "  > ";
constexpr std::string_view kMore = "  ";

bool TakePrefix(std::string& text, std::string_view prefix) {
  if (text.rfind(prefix, 0) != 0) return false;
  text.erase(0, prefix.size());
  return true;
}

void AddHead(Script& script, const std::filesystem::path& file, std::string line,
             const std::string& place) {
  if (line.empty() || line.front() == '#') return;
  if (TakePrefix(line, "given ")) {
    script.given.push_back(line);
  } else if (TakePrefix(line, "like ")) {
    std::ifstream lines(file.parent_path() / line);
    if (!lines) throw std::runtime_error(place + ": cannot read " + line);
    for (std::string given; std::getline(lines, given);) AddHead(script, file, given, place);
  } else if (TakePrefix(line, "run ")) {
    script.run = line;
  } else {
    throw std::runtime_error(place + ": neither 'given', 'like' nor 'run': " + line);
  }
}

void AddStory(Script& script, std::string line, const std::string& place) {
  if (line.empty()) return;
  const bool indented = line.rfind(kMore, 0) == 0;
  if (indented && script.story.empty()) throw std::runtime_error(place + ": no event before it");
  if (line == "  >") line += ' ';
  if (TakePrefix(line, kAnswer)) {
    script.story.back().answers.push_back(line);
  } else if (indented) {
    script.story.back().text += "\n" + line;
  } else {
    script.story.push_back({line, {}});
  }
}

}  // namespace

Script Script::Read(const std::filesystem::path& file) {
  std::ifstream lines(file);
  if (!lines) throw std::runtime_error("cannot read " + file.string());
  Script script;
  bool in_story = false;
  int number = 0;
  for (std::string line; std::getline(lines, line);) {
    const std::string place = file.filename().string() + ":" + std::to_string(++number);
    if (line == "----") {
      in_story = true;
    } else if (in_story) {
      AddStory(script, line, place);
    } else {
      AddHead(script, file, line, place);
    }
  }
  if (script.run.empty()) throw std::runtime_error(file.string() + ": nothing is run");
  return script;
}

}  // namespace transcript
