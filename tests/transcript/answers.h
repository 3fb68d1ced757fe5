#pragma once

#include <stdexcept>
#include <string>
#include <vector>

#include "transcript/story.h"

namespace transcript {

/// What is no framework's error: a full memory, a fault of the program.
class Breakdown : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// How a command, here or elsewhere, ends.
struct CommandAnswer {
  std::string output;
  int status = 0;
  std::string lost;
};

/// Takes `prefix` off the front of `text`; false when it does not stand there.
bool TakePrefix(std::string& text, std::string_view prefix);

/// Makes a file; "\n" in `text` is a line feed.
void WriteFile(const std::string& path, const std::string& text);

/// Tells `event` and returns the script's answers to it, without those that every event may have,
/// which are carried out:
///
///     writes PATH = TEXT   makes a file
///     makes PATH           makes a directory
///     removes PATH         removes what is there
///     look PATH            tells the mode and the text of a file: "sees MODE 'TEXT' PATH"
///     breaks WHY           throws Breakdown
std::vector<std::string> Ask(Story& story, const std::string& event);

/// The same for the event that a command runs: "exit N", "lost WHY", and lines of its output.
CommandAnswer AskCommand(Story& story, const std::string& event);

}  // namespace transcript
