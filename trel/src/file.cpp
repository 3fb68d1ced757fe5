#include "trel/trel_file.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <memory>
#include <vector>

#include "descriptor.h"
#include "safe_path.h"
#include "trel/str.h"
#include "trel/trel_err.h"

namespace trel_file {
namespace {

[[noreturn]] void Fail(const std::string& operation, const std::string& path, int error) {
  throw trel_err::Error("file", operation, path, path + ": " + std::strerror(error));
}

Descriptor Open(const std::string& operation, const std::string& path, int flags) {
  Descriptor file(open(path.c_str(), flags | O_CLOEXEC | O_NOCTTY, 0600));
  if (!file) Fail(operation, path, errno);
  return file;
}

/// Opens `path` to be read. Where others can put names it is a file or nothing: a link of theirs
/// could lead to what they may not read themselves, and a pipe of theirs would hold us for ever.
Descriptor OpenToRead(const std::string& path) {
  const auto [dir, name] = SplitPath(path);
  const Descriptor place(open(dir.empty() ? "." : dir.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC));
  if (!place || NamesAreTrusted(place)) return Open("read", path, O_RDONLY);
  constexpr int kFlags = O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC | O_NOCTTY;
  Descriptor file(openat(place.get(), name.c_str(), kFlags));
  struct stat status {};
  if (!file || fstat(file.get(), &status) != 0) Fail("read", path, errno);
  if (S_ISFIFO(status.st_mode) || S_ISSOCK(status.st_mode)) Fail("read", path, EINVAL);
  return file;
}

/// Opens `path`, relative to `dir`, as a mere handle on what it names: a name can change hands
/// between a check and a change, an open file cannot. Links are not followed.
Descriptor OpenHandle(int dir, const std::string& path) {
  return Descriptor(openat(dir, path.c_str(), O_PATH | O_NOFOLLOW | O_CLOEXEC));
}

mode_t TypeOf(const Descriptor& handle, const std::string& path) {
  struct stat status {};
  if (fstat(handle.get(), &status) != 0) Fail("chmod", path, errno);
  return status.st_mode & S_IFMT;
}

/// A name that leads to the file behind the handle itself: the system knows no fchmod and no
/// fdopendir for such a handle.
std::string NameOf(const Descriptor& handle) {
  return "/proc/self/fd/" + std::to_string(handle.get());
}

void SetMode(const Descriptor& handle, const std::string& path, unsigned mode) {
  if (chmod(NameOf(handle).c_str(), mode) != 0) Fail("chmod", path, errno);
}

std::vector<std::string> NamesIn(const Descriptor& handle, const std::string& path) {
  const std::unique_ptr<DIR, int (*)(DIR*)> entries(opendir(NameOf(handle).c_str()), closedir);
  if (!entries) Fail("chmod", path, errno);
  std::vector<std::string> names;
  while (const auto* entry = readdir(entries.get())) {
    const std::string name = entry->d_name;
    if (name != "." && name != "..") names.push_back(name);
  }
  return names;
}

/// Sets `mode` on everything in the directory `handle`, deepest first: the mode may take away the
/// right to enter.
void SetModesBelow(const Descriptor& handle, const std::string& path, unsigned mode) {
  for (const auto& name : NamesIn(handle, path)) {
    const std::string child_path = ConcatPath(path, name);
    const auto child = OpenHandle(handle.get(), name);
    if (!child) Fail("chmod", child_path, errno);
    const auto type = TypeOf(child, child_path);
    if (type == S_IFDIR) SetModesBelow(child, child_path, mode);
    if (type != S_IFLNK) SetMode(child, child_path, mode);
  }
}

}  // namespace

bool Exists(const std::string& path) {
  return access(path.c_str(), F_OK) == 0;
}

std::string Read(const std::string& path) {
  const auto file = OpenToRead(path);
  std::string text;
  constexpr std::size_t kPiece = 1 << 16;
  for (std::size_t size = 0;;) {
    text.resize(size + kPiece);
    const auto got = TEMP_FAILURE_RETRY(read(file.get(), text.data() + size, kPiece));
    if (got < 0) Fail("read", path, errno);
    size += static_cast<std::size_t>(got);
    text.resize(size);
    if (got == 0) return text;
  }
}

void Write(const std::string& path, const std::string& text) {
  const auto file = Open("write", path, O_WRONLY | O_CREAT | O_TRUNC | O_NOFOLLOW);
  if (!WriteAll(file, text)) Fail("write", path, errno);
}

std::string ConcatPath(const std::string& dir, const std::string& name) {
  if (dir.empty()) return name;
  const auto end = dir.find_last_not_of('/');
  const auto begin = name.find_first_not_of('/');
  return dir.substr(0, end + 1) + "/" + (begin == std::string::npos ? "" : name.substr(begin));
}

std::pair<std::string, std::string> SplitPath(const std::string& path) {
  const auto slash = path.rfind('/');
  if (slash == std::string::npos) return {"", path};
  // What stands in the root keeps it: without it the name would be one of the working directory.
  return {path.substr(0, std::max<std::size_t>(slash, 1)), path.substr(slash + 1)};
}

void RemoveFile(const std::string& path) {
  if (unlink(path.c_str()) != 0 && errno != ENOENT) Fail("remove", path, errno);
}

void Attrs::SafeSet(const std::string& path, bool recursive) const {
  const auto place = OpenPlace(path);
  const auto handle = place.dir ? OpenHandle(place.dir.get(), place.name) : Descriptor();
  if (!handle) Fail("chmod", path, errno);
  const auto type = TypeOf(handle, path);
  if (type != S_IFREG && type != S_IFDIR) Fail("chmod", path, type == S_IFLNK ? ELOOP : EINVAL);
  if (recursive && type == S_IFDIR) SetModesBelow(handle, path, mode_);
  SetMode(handle, path, mode_);
}

}  // namespace trel_file
