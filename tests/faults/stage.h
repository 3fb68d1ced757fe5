#pragma once

#include <cstddef>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "faults/call.h"
#include "faults/fault.h"
#include "faults/file_calls.h"
#include "faults/world.h"
#include "support/seam.h"

namespace faults {

/// Which call meets which fault; without a fault everything goes well.
struct Plan {
  std::size_t at = 0;  ///< index of the call
  const Fault* fault = nullptr;
  bool of_file = false;  ///< the index is one of the calls with files
};

/// One run: the world, what was called so far, and what goes wrong. Its seam passes each call on
/// to the world, unless the plan has a fault for it.
class Stage : public FileWatch {
 public:
  Stage(const Scenario& scenario, const std::string& dir, const Plan& plan);

  /// The bodies to install. They must not outlive the stage.
  trel_seam::Seam MakeSeam();

  /// Notes a call and returns the fault that it meets, if any.
  const Fault* Meet(const Call& call);
  /// Does what the plan has others do at that point; empty: before the job.
  void Change(const std::string& at);
  int Meet(const std::string& operation, const std::string& path) override;
  /// Lets the time of a fault pass.
  void Wait(int seconds) { host->now += seconds * 1'000'000LL; }

  World world;
  std::vector<Call> calls;
  std::vector<FileCall> file_calls;
  std::vector<Call> met;               ///< those that met the fault
  int fired = 0;                       ///< how often the fault was met
  std::string said;                    ///< what the failure said, empty for other faults
  std::vector<std::string> arguments;  ///< everything that stood in an argument list, here or there
  std::set<std::string> keys;          ///< paths of the copy's key files
  std::string login_key;               ///< the one-time key of the user's session
  std::shared_ptr<support::ScriptedHost> host = std::make_shared<support::ScriptedHost>();
  std::shared_ptr<support::KeptLog> log = std::make_shared<support::KeptLog>();

 private:
  Plan plan_;
};

}  // namespace faults
