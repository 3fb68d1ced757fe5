#include "transcript/story.h"

#include <fstream>
#include <regex>

namespace transcript {

std::string ReplaceAll(std::string text, const std::string& from, const std::string& to) {
  for (auto at = text.find(from); at != std::string::npos; at = text.find(from, at + to.size())) {
    text.replace(at, from.size(), to);
  }
  return text;
}

Story::Story(const Script& script, const std::string& dir, const std::string& file)
    : script_(script), dir_(dir), file_(file) {}

std::vector<std::string> Story::Tell(const std::string& event) {
  std::ofstream(file_, std::ios::app) << event << "\n";
  if (diverged_ || next_ == script_.story.size() || script_.story[next_].text != event) {
    diverged_ = true;
    return {};
  }
  std::vector<std::string> answers;
  for (const auto& answer : script_.story[next_++].answers) answers.push_back(Expand(answer));
  return answers;
}

std::string Story::Expand(const std::string& text) const {
  return ReplaceAll(text, "$DIR", dir_);
}

std::string Story::Render(const std::string& text) const {
  // The line within a source file is no behaviour.
  static const std::regex place("(^|/)(tarvin(_bin(_lite|_common)?)?):[0-9]+ ");
  std::string shown = std::regex_replace(text, place, "$1$2:# ");
  for (const auto& dir : {dir_, str::url::Encode(dir_)}) shown = ReplaceAll(shown, dir, "$DIR");
  return ReplaceAll(ReplaceAll(shown, "\n", "\\n"), "\t", "\\t");
}

}  // namespace transcript
