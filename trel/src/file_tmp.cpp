#include <fcntl.h>

#include <cerrno>
#include <cstring>

#include "safe_path.h"
#include "trel/str.h"
#include "trel/trel_err.h"
#include "trel/trel_file.h"

namespace trel_file {
namespace {

/// Makes a file that was not there. False when the name is taken.
bool Make(const std::string& path) {
  const auto place = OpenPlace(path);
  const auto file =
      place.dir ? Descriptor(openat(place.dir.get(), place.name.c_str(),
                                    O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600))
                : Descriptor();
  if (!file && errno != EEXIST) {
    throw trel_err::Error("file", "create", path, path + ": " + std::strerror(errno));
  }
  return static_cast<bool>(file);
}

/// Removes what stands under the name, if it can be removed.
void Clear(const std::string& path) {
  const auto place = OpenPlace(path);
  if (place.dir && unlinkat(place.dir.get(), place.name.c_str(), 0) != 0 && errno != ENOENT) {
    throw trel_err::Error("file", "replace", path, path + ": " + std::strerror(errno));
  }
}

}  // namespace

Tmp::Tmp(const std::string& path, Name name) {
  do {
    if (name == kExactName) Clear(path);
    path_ = name == kExactName ? path : path + "." + str::hex::Encode(str::Random(8));
  } while (!Make(path_));
}

Tmp::~Tmp() {
  const auto place = OpenPlace(path_);
  if (!keep_ && place.dir) unlinkat(place.dir.get(), place.name.c_str(), 0);
}

}  // namespace trel_file
