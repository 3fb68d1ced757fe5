#pragma once

#include <string>
#include <vector>

#include "trel/str.h"

namespace trel_seam {

/// A child process to run.
struct ProcessRequest {
  std::vector<std::string> arguments;  ///< the program, looked up in the child's PATH, and its own
  std::string user;                    ///< account to run as; empty: ourselves
  std::string dir;                     ///< working directory
  StringMap env;                       ///< added to the clean environment
  bool capture_output = false;
  bool capture_errors = false;
  bool own_group = false;
};

/// How a child ended.
struct ProcessOutcome {
  std::string output;
  int status = 0;  ///< exit status; 128 + signal number; 127 when it could not be started
};

/// The way out for child processes.
class Processes {
 public:
  virtual ~Processes() = default;
  /// Runs the child to its end. Never throws for one that could not be started: the outcome says
  /// which step failed and why.
  virtual ProcessOutcome Run(const ProcessRequest& request) = 0;
};

}  // namespace trel_seam
