#include "safe_path.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>
#include <filesystem>

namespace trel_file {
namespace {

/// A step down. Links are followed only out of a directory whose names can be trusted.
Descriptor Enter(const Descriptor& dir, const std::string& name) {
  const int links = NamesAreTrusted(dir) ? 0 : O_NOFOLLOW;
  return Descriptor(openat(dir.get(), name.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC | links));
}

}  // namespace

bool NamesAreTrusted(const Descriptor& dir) {
  struct stat info {};
  return fstat(dir.get(), &info) == 0 && (info.st_uid == 0 || info.st_uid == geteuid()) &&
         (info.st_mode & (S_IWGRP | S_IWOTH)) == 0;
}

SafePlace OpenPlace(const std::string& path) {
  const std::filesystem::path whole(path);
  SafePlace place{
      Descriptor(open(whole.is_absolute() ? "/" : ".", O_PATH | O_DIRECTORY | O_CLOEXEC)),
      whole.filename()};
  for (const auto& part : whole.parent_path().relative_path()) {
    if (part == "..") {
      errno = EINVAL;
      return SafePlace();
    }
    if (part.empty() || part == ".") continue;
    place.dir = Enter(place.dir, part);
    if (!place.dir) return SafePlace();
  }
  if (place.name.empty() || place.name == "." || place.name == "..") {
    errno = EINVAL;
    return SafePlace();
  }
  return place;
}

}  // namespace trel_file
