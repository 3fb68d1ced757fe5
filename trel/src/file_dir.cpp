#include <dirent.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <string_view>

#include "trel/str.h"
#include "trel/trel_err.h"
#include "trel/trel_file.h"

namespace trel_file {
namespace {

constexpr int kFollowLinks = 2;

}  // namespace

std::string GetFullPath(const std::string& program) {
  const char* path = std::getenv("PATH");
  std::string_view rest = path != nullptr ? path : "/usr/bin:/bin";
  while (!rest.empty()) {
    std::string file = ConcatPath(std::string(str::GetWord(rest, ":")), program);
    if (access(file.c_str(), X_OK) == 0) return file;
  }
  return "";
}

Info::Info(const std::string& path, int options) {
  if ((options & ~kFollowLinks) != 0) {
    trel_err::AssertError::Raise("trel/file_dir", __LINE__, "trel_file::Info::Info",
                                 "options with unknown bits");
  }
  struct stat info {};
  const auto look = (options & kFollowLinks) != 0 ? stat : lstat;
  is_dir_ = look(path.c_str(), &info) == 0 && S_ISDIR(info.st_mode);
}

struct Dir::Walk {
  std::unique_ptr<DIR, int (*)(DIR*)> entries;
};

Dir::Dir(const std::string& path)
    : path_(path), walk_(new Walk{{opendir(path.c_str()), closedir}}) {
  if (!walk_->entries) {
    throw trel_err::Error("file", "list", path, path + ": " + std::strerror(errno));
  }
}

Dir::~Dir() = default;

bool Dir::Read() {
  while (const auto* entry = readdir(walk_->entries.get())) {
    name_ = entry->d_name;
    if (name_ != "." && name_ != "..") return true;
  }
  return false;
}

trel_file::Info Dir::Info(bool follow) const {
  return trel_file::Info(ConcatPath(path_, name_), follow ? kFollowLinks : 0);
}

}  // namespace trel_file
