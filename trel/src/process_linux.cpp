#include <unistd.h>

#include "end_signals.h"
#include "process_account.h"
#include "process_follow.h"
#include "process_start.h"
#include "seam/seam.h"

namespace trel_seam {
namespace {

ProcessOutcome NotStarted(const std::string& program, const std::string& why) {
  constexpr int kNotStarted = 127;
  return {"cannot run '" + program + "': " + why + "\n", kNotStarted};
}

std::string Who(const ProcessRequest& request) {
  return request.user.empty() ? std::to_string(geteuid()) : "'" + request.user + "'";
}

class LinuxProcesses : public Processes {
 public:
  ProcessOutcome Run(const ProcessRequest& request) override {
    const auto& program = request.arguments.front();
    if (EndAsked()) return NotStarted(program, "this job was told to end");
    const auto account = FindAccount(request.user);
    if (!account) return NotStarted(program, "there is no user " + Who(request));
    try {
      return FollowChild(StartChild(request, *account), request.own_group);
    } catch (const StartFailure& failure) {
      return NotStarted(program, failure.what());
    }
  }
};

}  // namespace

std::shared_ptr<Processes> MakeProcesses() {
  return std::make_shared<LinuxProcesses>();
}

}  // namespace trel_seam
