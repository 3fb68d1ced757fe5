#pragma once

namespace trel_seam {

/// True once a signal asked this process to end (see trel_proc::CatchEndSignals).
bool EndAsked();
/// A descriptor that polls as readable once EndAsked is true; -1 when signals are not caught.
int EndAskedDescriptor();

}  // namespace trel_seam
