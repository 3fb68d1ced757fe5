#pragma once

#include <sys/types.h>

#include <cstring>
#include <stdexcept>
#include <string>

#include "descriptor.h"
#include "process_account.h"
#include "seam/process.h"

namespace trel_seam {

/// A child that could not be started. what() names the step that failed and why.
class StartFailure : public std::runtime_error {
 public:
  StartFailure(const std::string& step, int error)
      : std::runtime_error(step + ": " + std::strerror(error)) {}
};

/// A child that runs. Whoever holds it waits for it.
struct StartedChild {
  pid_t pid = 0;
  Descriptor watch;   ///< polls as readable when the child has ended; none before Linux 5.3
  Descriptor output;  ///< reads what the child writes, as far as it is captured
};

/// Starts the child that `request` describes as `account`, whose rights it takes on when the
/// request names a user. Returns once its program runs; throws StartFailure when it does not.
StartedChild StartChild(const ProcessRequest& request, const Account& account);

}  // namespace trel_seam
