// The library's functions in a form that can be watched. The test program's own definitions go
// before those of the C library, for the platform's library too.

#undef _FORTIFY_SOURCE

#include "faults/file_calls.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <cstdarg>
#include <map>

#define WATCHED extern "C" __attribute__((visibility("default")))

namespace faults {
namespace {

FileWatch* watch = nullptr;
bool busy = false;  ///< the watch itself works with files

std::map<int, std::string>& Paths() {
  static std::map<int, std::string> paths;
  return paths;
}

/// The path behind a descriptor, or behind the name that leads to one.
std::string PathOf(const std::string& path) {
  constexpr char kDescriptors[] = "/proc/self/fd/";
  if (path.rfind(kDescriptors, 0) != 0) return path;
  const auto known = Paths().find(std::stoi(path.substr(sizeof kDescriptors - 1)));
  return known == Paths().end() ? "" : known->second;
}

std::string PathOf(int file) {
  const auto known = Paths().find(file);
  return known == Paths().end() ? "" : known->second;
}

/// False, with errno set, for a call that is to fail.
bool Allows(const char* operation, const std::string& path) {
  if (watch == nullptr || busy || path.empty()) return true;
  busy = true;
  const int error = watch->Meet(operation, path);
  busy = false;
  if (error == 0) return true;
  errno = error;
  return false;
}

int Open(int dir, const char* path, int flags, mode_t mode) {
  const char* operation = (flags & O_CREAT) != 0 ? "create" : "open";
  if (!Allows(operation, path)) return -1;
  const int file = static_cast<int>(syscall(SYS_openat, dir, path, flags, mode));
  if (watch != nullptr && !busy && file >= 0) Paths()[file] = path;
  return file;
}

mode_t ModeOf(int flags, va_list arguments) {
  return (flags & O_CREAT) != 0 ? va_arg(arguments, mode_t) : 0;
}

}  // namespace

void WatchFiles(FileWatch* new_watch) {
  watch = new_watch;
}

}  // namespace faults

using faults::Allows;
using faults::PathOf;

WATCHED int open(const char* path, int flags, ...) {
  va_list arguments;
  va_start(arguments, flags);
  const mode_t mode = faults::ModeOf(flags, arguments);
  va_end(arguments);
  return faults::Open(AT_FDCWD, path, flags, mode);
}

WATCHED int openat(int dir, const char* path, int flags, ...) {
  va_list arguments;
  va_start(arguments, flags);
  const mode_t mode = faults::ModeOf(flags, arguments);
  va_end(arguments);
  return faults::Open(dir, path, flags, mode);
}

WATCHED int close(int file) {
  if (faults::watch != nullptr) faults::Paths().erase(file);
  return static_cast<int>(syscall(SYS_close, file));
}

WATCHED ssize_t read(int file, void* data, size_t size) {
  return Allows("read", PathOf(file)) ? syscall(SYS_read, file, data, size) : -1;
}

WATCHED ssize_t write(int file, const void* data, size_t size) {
  return Allows("write", PathOf(file)) ? syscall(SYS_write, file, data, size) : -1;
}

WATCHED int access(const char* path, int mode) noexcept {
  if (!Allows("look for", path)) return -1;
  return static_cast<int>(syscall(SYS_faccessat, AT_FDCWD, path, mode));
}

WATCHED int unlink(const char* path) noexcept {
  return Allows("remove", path) ? static_cast<int>(syscall(SYS_unlink, path)) : -1;
}

WATCHED int unlinkat(int dir, const char* path, int flags) noexcept {
  if (!Allows("remove", path)) return -1;
  return static_cast<int>(syscall(SYS_unlinkat, dir, path, flags));
}

WATCHED int renameat(int from_dir, const char* from, int to_dir, const char* to) noexcept {
  if (!Allows("rename", from)) return -1;
  return static_cast<int>(syscall(SYS_renameat, from_dir, from, to_dir, to));
}

WATCHED int chmod(const char* path, mode_t mode) noexcept {
  if (!Allows("protect", PathOf(std::string(path)))) return -1;
  return static_cast<int>(syscall(SYS_chmod, path, mode));
}

WATCHED int fchmod(int file, mode_t mode) noexcept {
  return Allows("protect", PathOf(file)) ? static_cast<int>(syscall(SYS_fchmod, file, mode)) : -1;
}
