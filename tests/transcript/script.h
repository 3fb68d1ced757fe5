#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include "trel/str.h"

namespace transcript {

/// One thing that happens, with the answer that the world gives to it.
struct Event {
  std::string text;                  ///< the event's line, and its "stdin:" lines
  std::vector<std::string> answers;  ///< behind "> ", in order
};

/// A transcript file: what is given, what is run, and the story that has to come of it.
///
///     # What the transcript shows, in words.
///     given ...           the world before (see World for what can be given)
///     like FILE           what FILE gives, which lies beside or above the transcript
///     run ...             what is called (see Runner)
///     ----
///     an event            in order, one a line, as Story renders it
///       > an answer       what the world answers to it
///
/// "$DIR" stands for the folder of the run everywhere.
struct Script {
  std::vector<std::string> given;
  std::string run;
  std::vector<Event> story;

  /// Reads `file`; throws std::runtime_error that names the file and the line it cannot read.
  static Script Read(const std::filesystem::path& file);
};

}  // namespace transcript
