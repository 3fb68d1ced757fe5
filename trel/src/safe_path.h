#pragma once

#include <string>

#include "descriptor.h"

namespace trel_file {

/// An open directory and a name in it.
struct SafePlace {
  Descriptor dir;
  std::string name;
};

/// Opens the directory of `path` without following a symbolic link that somebody other than root
/// could have put on the way; a ".." is refused. What is then done through the descriptor happens
/// in that directory, whatever becomes of its name. A relative path begins where we are.
/// Returns no descriptor and sets errno when the way is not there or not safe.
SafePlace OpenPlace(const std::string& path);

/// False for a directory in which somebody other than root or ourselves can put a name: what it
/// leads to may be a link or a pipe of theirs.
bool NamesAreTrusted(const Descriptor& dir);

}  // namespace trel_file
