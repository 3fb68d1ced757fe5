#pragma once

#include <string>
#include <vector>

#include "faults/forecast.h"
#include "faults/stage.h"

namespace faults {

/// What a run came to.
struct Observed {
  End end = End::kReturns;
  int status = 0;
  std::string thrown;
};

/// What is wrong with a run, each as a line; none when it came to what is foreseen and every
/// promise was kept: nothing that the source did not send was changed, no secret was told, nothing
/// was left but what the rule of the call says.
std::vector<std::string> Judge(const Stage& stage, const Observed& observed,
                               const Forecast& forecast);

/// What may not be told to anybody in this run.
std::vector<std::string> SecretsOf(const Stage& stage);

/// What stays behind that was not there before, in words; empty for nothing.
std::vector<std::string> Leftovers(const Stage& stage);

/// The outcome as a line of the page: "status 0; db_dump; leaves ...".
std::string Summarise(const Stage& stage, const Observed& observed);

}  // namespace faults
