#pragma once

#include <string>

namespace faults {

/// Sees the calls of the system that this process makes with files, and may make them fail.
class FileWatch {
 public:
  virtual ~FileWatch() = default;
  /// Told of the operation and the path before it is done. 0: let it be done; else the errno with
  /// which it fails.
  virtual int Meet(const std::string& operation, const std::string& path) = 0;
};

/// From now on `watch` sees every call; null: nobody does.
void WatchFiles(FileWatch* watch);

}  // namespace faults
