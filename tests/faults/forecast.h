#pragma once

#include <set>
#include <string>
#include <vector>

#include "faults/rules.h"
#include "faults/stage.h"
#include "faults/world.h"

namespace faults {

/// How a job ends: vormain returns, throws what the launcher reports, or the process is ended.
enum class End { kReturns, kThrows, kTerminates };

/// What a run must come to, derived from the rules alone.
struct Forecast {
  std::vector<Call> calls;
  std::vector<Problem> problems;  ///< with a part of the info
  End end = End::kReturns;
  int status = 0;
  std::string thrown;  ///< a part of what is thrown
  State state;
  bool params_left = false;
  std::set<std::string> files_left;  ///< in the home, as NameOfLeft has them
};

/// What `plan` makes of a run that without faults has the calls `smooth`. `said`: what the failure
/// said when it was met.
Forecast Foresee(const Scenario& scenario, const Calls& smooth, const Plan& plan,
                 const std::string& said);

/// The name of what is left in a home, without what is different each time.
std::string NameOfLeft(const std::string& file);

/// The database that a call is about; empty for none.
std::string DatabaseOf(const Call& call);

}  // namespace faults
