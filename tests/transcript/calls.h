#pragma once

#include <string>

#include "transcript/script.h"
#include "transcript/story.h"
#include "transcript/world.h"

namespace transcript {

/// Where the process that runs a script stands.
struct Stage {
  const Script& script;
  const World& world;
  Story& story;
  std::string dir;

  /// What the script sets, empty when it does not.
  std::string Set(const std::string& key) const;
  /// True when the script's story has a line that begins with `word`.
  bool Wants(const std::string& word) const;
  void Tell(const std::string& what, const std::string& text) const;
};

/// Does what the script's line "run" says, and tells what came of it: see Run in runner.h for what
/// can be run. Throws std::runtime_error for what it does not know.
void Call(const Stage& stage, const std::string& run);

}  // namespace transcript
