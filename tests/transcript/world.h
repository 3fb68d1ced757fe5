#pragma once

#include <map>
#include <memory>
#include <string>

#include "seam/seam.h"
#include "transcript/script.h"
#include "transcript/story.h"

namespace transcript {

/// What a script gives:
///
///     param KEY = VALUE        a line of the parameters file
///     set KEY = VALUE          an argument of what is run
///     dir PATH                 a directory
///     file PATH = TEXT         a file
///     link PATH = TARGET       a symbolic link
///     program PATH             an executable file; PATH is $DIR/bin
///     home USER = PATH         an account and its home
///     os-release TEXT          of this host
///     random HEX               what the random source gives next; else 01, 02, 03 ...
///     tick MICROSECONDS        by which the clock moves on each time that it is looked at; else 0
///     enabled LEVEL            up to which log lines are enabled; 9 if not given, and for the job
///     log LEVEL                up to which level log lines are part of the story; 5 if not given
struct World {
  StringMap params;
  StringMap set;
  StringMap homes;
  std::string os_release;
  std::string random;
  std::string language;  ///< that queries are expected in: "en" for the job, else none
  int tick = 0;
  int enabled_level = 9;
  int log_level = 5;

  /// Makes the files, and remembers the rest. Throws std::runtime_error for what it does not know.
  World(const Script& script, const Story& story);
};

/// Bodies for the seam that tell `story` what goes out, and answer from it. Answers:
///
///     HTTP     the reply's body; "status N" before it; "fails WHY"
///     SSH      output lines; "exit N"; "lost WHY"
///     child    output lines; "exit N"
///
/// and those that Ask in answers.h takes from every event.
/// Without an answer the reply is <doc/>, and commands end well and silent.
trel_seam::Seam MakeScripted(const World& world, Story& story);

}  // namespace transcript
