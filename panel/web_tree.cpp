#include "panel/web_tree.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdlib>
#include <system_error>

#include "panel/descriptor.h"
#include "panel/text.h"

namespace panel {
namespace {

namespace fs = std::filesystem;

constexpr mode_t kReadAndSearch = S_IRUSR | S_IXUSR;
constexpr mode_t kModeBits = 07777;
constexpr std::size_t kLargestAccessFile = std::size_t{16} << 20;

[[noreturn]] void FailStep(const char* step) {
  throw std::system_error(errno, std::generic_category(), step);
}

// A new file beside the one that it replaces; gone again unless it took that file's place.
class Replacement {
 public:
  explicit Replacement(const fs::path& file)
      : file_(file), name_(file.string() + ".XXXXXX"), out_(mkostemp(name_.data(), O_CLOEXEC)) {
    if (!out_) {
      FailStep("create a file beside it");
    }
  }
  Replacement(const Replacement&) = delete;
  Replacement& operator=(const Replacement&) = delete;
  ~Replacement() {
    if (!done_) {
      unlink(name_.c_str());
    }
  }

  void Write(std::string_view text) {
    while (!text.empty()) {
      const ssize_t written = write(out_.get(), text.data(), text.size());
      if (written < 0) {
        FailStep("write");
      }
      text.remove_prefix(static_cast<std::size_t>(written));
    }
  }

  void TakePlace(const struct stat& old) {
    const std::array times = {old.st_atim, old.st_mtim};
    if (fchmod(out_.get(), old.st_mode & kModeBits) != 0) {
      FailStep("set the mode");
    }
    if (futimens(out_.get(), times.data()) != 0) {
      FailStep("set the times");
    }
    if (fsync(out_.get()) != 0) {
      FailStep("write");
    }
    if (rename(name_.c_str(), file_.c_str()) != 0) {
      FailStep("rename");
    }
    done_ = true;
  }

 private:
  fs::path file_;
  std::string name_;
  Descriptor out_;
  bool done_ = false;
};

// Puts the times of a directory back after its entries were changed.
class KeptTimes {
 public:
  explicit KeptTimes(const fs::path& directory) : directory_(directory) {
    if (lstat(directory.c_str(), &before_) != 0) {
      FailStep("look at its directory");
    }
  }
  KeptTimes(const KeptTimes&) = delete;
  KeptTimes& operator=(const KeptTimes&) = delete;
  ~KeptTimes() {
    const std::array times = {before_.st_atim, before_.st_mtim};
    utimensat(AT_FDCWD, directory_.c_str(), times.data(), AT_SYMLINK_NOFOLLOW);
  }

 private:
  fs::path directory_;
  struct stat before_ {};
};

std::string ReadAll(const Descriptor& in) {
  std::string text;
  std::array<char, 65536> buffer;
  ssize_t count = 0;
  while ((count = read(in.get(), buffer.data(), buffer.size())) > 0) {
    text.append(buffer.data(), static_cast<std::size_t>(count));
    if (text.size() > kLargestAccessFile) {
      errno = EFBIG;
      FailStep("read");
    }
  }
  if (count < 0) {
    FailStep("read");
  }
  return text;
}

// Gives true when the file was changed.
bool RepairAccessFile(const fs::path& file, const HomeMove& move) {
  // Without O_NONBLOCK a named pipe put here in the meantime would hold us for ever.
  const Descriptor in(open(file.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
  struct stat status {};
  if (!in || fstat(in.get(), &status) != 0) {
    FailStep("open");
  }
  if (!S_ISREG(status.st_mode) || status.st_uid != geteuid()) {
    return false;
  }
  const std::string text = ReadAll(in);
  const std::string moved = MoveAccessFile(text, move);
  if (moved == text) {
    return false;
  }
  const KeptTimes times(file.parent_path());
  Replacement replacement(file);
  replacement.Write(moved);
  replacement.TakePlace(status);
  return true;
}

// Gives true when the directory was closed to its owner and is open now.
bool OpenToOwner(const fs::path& directory) {
  struct stat status {};
  if (lstat(directory.c_str(), &status) != 0) {
    FailStep("look at");
  }
  if (!S_ISDIR(status.st_mode) || status.st_uid != geteuid() ||
      (status.st_mode & kReadAndSearch) == kReadAndSearch) {
    return false;
  }
  if (fchmodat(AT_FDCWD, directory.c_str(), (status.st_mode & kModeBits) | kReadAndSearch,
               AT_SYMLINK_NOFOLLOW) != 0) {
    FailStep("set the mode");
  }
  return true;
}

// One walk over a tree, adding up what was done.
class Walk {
 public:
  explicit Walk(const HomeMove& move) : move_(move) {}

  void Visit(const fs::path& path, fs::file_type type) {
    try {
      if (type == fs::file_type::directory) {
        result_.repaired += OpenToOwner(path) ? 1 : 0;
      } else if (type == fs::file_type::regular && path.filename() == ".htaccess") {
        result_.repaired += RepairAccessFile(path, move_) ? 1 : 0;
      }
    } catch (const std::system_error& error) {
      Fail(path, error.what());
    }
  }

  void Fail(const fs::path& path, const std::string& reason) {
    result_.failures.push_back(OneLine(path.string()) + ": " + reason);
  }

  WebTreeRepair result() const { return result_; }

 private:
  const HomeMove& move_;
  WebTreeRepair result_;
};

}  // namespace

WebTreeRepair RepairWebTree(const fs::path& root, const HomeMove& move) {
  Walk walk(move);
  std::error_code error;
  const fs::file_type type = fs::symlink_status(root, error).type();
  if (type == fs::file_type::not_found) {
    return {};
  }
  if (type != fs::file_type::directory) {
    walk.Fail(root, error ? error.message() : "not a directory");
    return walk.result();
  }
  walk.Visit(root, type);
  // An entry is visited before the walk goes into it: a directory is open by then.
  fs::recursive_directory_iterator entry(root, fs::directory_options::skip_permission_denied,
                                         error);
  while (!error && entry != fs::recursive_directory_iterator()) {
    walk.Visit(entry->path(), entry->symlink_status(error).type());
    entry.increment(error);
  }
  if (error) {
    walk.Fail(root, "the walk through it ended early: " + error.message());
  }
  return walk.result();
}

}  // namespace panel
