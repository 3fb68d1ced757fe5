#pragma once

#include <sys/types.h>

#include <string>
#include <vector>

#include "faults/call.h"
#include "faults/stage.h"
#include "faults/world.h"
#include "support/scratch.h"

namespace faults {

/// What came of a run in a process of its own.
struct Result {
  Calls calls;
  std::string summary;
  std::vector<std::string> wrong;
  long memory_kib = 0;  ///< the most that the process held
};

/// A migration in a process of its own, so that what ends the process ends no other.
class Cell {
 public:
  /// Starts it. `smooth`: what a run without faults calls, by which this one is judged; null for
  /// such a run itself.
  Cell(const Scenario& scenario, const Calls* smooth, const Plan& plan);
  ~Cell();
  Cell(const Cell&) = delete;
  Cell& operator=(const Cell&) = delete;

  /// Waits for its end.
  Result Wait();

 private:
  support::Scratch folder_;
  pid_t pid_ = 0;
};

}  // namespace faults
