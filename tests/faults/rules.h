#pragma once

#include <string>
#include <vector>

#include "faults/call.h"

namespace faults {

/// Which part of a job a call belongs to.
enum class Step { kSwitch, kSession, kDatabases, kFiles, kShellOff, kEnding };

/// What a failed call puts an end to.
enum class Ends {
  kNothing,    ///< the job goes on as if it had succeeded
  kDatabase,   ///< this database; the others go on
  kMail,       ///< the repair of mail rights; the copy goes on
  kCopy,       ///< the copy; what comes behind it goes on
  kDatabases,  ///< the database step, with the problem tarvin_critical; the files go on
  kFiles,      ///< the file steps, with the problem tarvin_critical
  kSession,    ///< the job, whose base is undone: the account is resumed, the parameters file goes
  kJob,        ///< everything: there is no job yet, and nothing is undone
  kProcess,    ///< the process, at once
};

/// What follows when a call fails.
struct Rule {
  Channel channel;
  const char* key;
  Step step;
  Ends ends;            ///< on a failure; for a child on a status that is not 0
  Ends ends_on_status;  ///< a command that ran and ended with a status that is not 0
  const char* problem;  ///< registered besides tarvin_critical; "" for none
  const char* leaves;   ///< what may stay behind; "" for nothing
  const char* what;     ///< for the reader: what the call is for
};

/// Every interaction with the outside that a migration may have.
const std::vector<Rule>& Rules();
/// The rule of a call; null for one that no rule speaks of.
const Rule* RuleOf(const Call& call);

/// The end in words: "ends this database".
std::string Words(Ends ends);

}  // namespace faults
