#include "trel/trel_file.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstring>
#include <filesystem>

#include "descriptor.h"
#include "trel/str.h"
#include "trel/trel_err.h"

namespace trel_file {
namespace {

namespace fs = std::filesystem;

[[noreturn]] void Fail(const std::string& operation, const std::string& path, int error) {
  throw trel_err::Error("file", operation, path, path + ": " + std::strerror(error));
}

Descriptor Open(const std::string& operation, const std::string& path, int flags) {
  Descriptor file(open(path.c_str(), flags | O_CLOEXEC | O_NOCTTY, 0600));
  if (!file) Fail(operation, path, errno);
  return file;
}

void WriteAll(const Descriptor& file, const std::string& path, std::string_view text) {
  while (!text.empty()) {
    const auto size = write(file.get(), text.data(), text.size());
    if (size < 0 && errno == EINTR) continue;
    if (size < 0) Fail("write", path, errno);
    text.remove_prefix(static_cast<std::size_t>(size));
  }
}

/// Sets `mode` on what `path` names, which is opened first: a name can change hands between a
/// check and a change, an open file cannot.
void SetMode(const std::string& path, unsigned mode) {
  const auto file = Open("chmod", path, O_RDONLY | O_NOFOLLOW | O_NONBLOCK);
  if (fchmod(file.get(), mode) != 0) Fail("chmod", path, errno);
}

}  // namespace

bool Exists(const std::string& path) {
  return access(path.c_str(), F_OK) == 0;
}

std::string Read(const std::string& path) {
  const auto file = Open("read", path, O_RDONLY);
  std::string text;
  constexpr std::size_t kPiece = 1 << 16;
  for (std::size_t size = 0;;) {
    text.resize(size + kPiece);
    const auto got = read(file.get(), text.data() + size, kPiece);
    if (got < 0 && errno == EINTR) continue;
    if (got < 0) Fail("read", path, errno);
    size += static_cast<std::size_t>(got);
    text.resize(size);
    if (got == 0) return text;
  }
}

void Write(const std::string& path, const std::string& text) {
  const auto file = Open("write", path, O_WRONLY | O_CREAT | O_TRUNC | O_NOFOLLOW);
  WriteAll(file, path, text);
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
  return {path.substr(0, slash), path.substr(slash + 1)};
}

void RemoveFile(const std::string& path) {
  if (unlink(path.c_str()) != 0 && errno != ENOENT) Fail("remove", path, errno);
}

void Attrs::SafeSet(const std::string& path, bool recursive) const {
  SetMode(path, mode_);
  if (!recursive || !fs::is_directory(path)) return;
  for (const auto& entry : fs::recursive_directory_iterator(path)) {
    if (!entry.is_symlink()) SetMode(entry.path(), mode_);
  }
}

}  // namespace trel_file
