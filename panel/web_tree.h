#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include "panel/access_file.h"

namespace panel {

/// What RepairWebTree did.
struct WebTreeRepair {
  int repaired = 0;                   ///< directories opened to their owner and files changed
  std::vector<std::string> failures;  ///< what could not be repaired, each with its path and reason
};

/// Makes the access protection of the web directories below `root` hold after `move`. Directories
/// of the caller that their owner cannot read or search get u+rx; the paths in each .htaccess file
/// are moved (see MoveAccessFile), keeping the file's mode and times, and at every moment there is
/// either the old file or the new one. Links are never followed; what belongs to others is left
/// alone; one failure does not stop the rest. A missing `root` is no failure.
/// REQUIRES: the process has no more rights than the owner of the tree.
WebTreeRepair RepairWebTree(const std::filesystem::path& root, const HomeMove& move);

}  // namespace panel
