#pragma once

#include "process_start.h"
#include "seam/process.h"

namespace trel_seam {

/// Reads what `child` writes, waits for its end, and tells how it ended. When this process is asked
/// to end (see end_signals.h), the child is: with its group, when it has its own.
ProcessOutcome FollowChild(StartedChild child, bool own_group);

}  // namespace trel_seam
