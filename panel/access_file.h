#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

namespace panel {

/// A home directory that came from another host, where it had another path.
struct HomeMove {
  std::filesystem::path remote_home;  ///< absolute
  std::filesystem::path local_home;   ///< absolute
  /// Moves also a path at which this host has a file.
  bool overwrite = false;

  /// Where `path` lies now. None when it does not lie under the remote home, or is to be left
  /// alone.
  std::optional<std::string> NewPath(const std::string& path) const;
};

/// The text of an .htaccess file with the paths of AuthUserFile and AuthGroupFile moved, everything
/// else byte for byte as it was.
std::string MoveAccessFile(std::string_view text, const HomeMove& move);

}  // namespace panel
