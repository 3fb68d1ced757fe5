#pragma once

#include <string>
#include <vector>

#include "transcript/script.h"

namespace transcript {

/// Follows what happens, event by event: writes down each one, and gives the answers that the
/// script has for it. From the first event that is not the script's next one on there are no
/// answers, and Diverged() is true.
class Story {
 public:
  /// `dir`: the folder that "$DIR" stands for; `file`: where the story is written, line by line,
  /// so that it is whole also when the process ends early.
  Story(const Script& script, const std::string& dir, const std::string& file);

  /// Writes `event` down and returns the script's answers to it, "$DIR" filled in.
  std::vector<std::string> Tell(const std::string& event);
  bool Diverged() const { return diverged_; }

  /// `text` with "$DIR" filled in.
  std::string Expand(const std::string& text) const;
  /// The opposite, with line feeds and tabs made visible and lines of source files as "#".
  std::string Render(const std::string& text) const;

 private:
  const Script& script_;
  std::string dir_;
  std::string file_;
  std::size_t next_ = 0;
  bool diverged_ = false;
};

/// `text` with each `from` replaced.
std::string ReplaceAll(std::string text, const std::string& from, const std::string& to);

}  // namespace transcript
