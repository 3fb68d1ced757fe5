#include "panel/home_file.h"

#include <fcntl.h>
#include <linux/openat2.h>
#include <sys/stat.h>
#include <sys/syscall.h>

#include <cerrno>
#include <filesystem>
#include <system_error>

#include "panel/error.h"
#include "panel/text.h"

namespace panel {
namespace {

Error OpenError(const std::string& path) {
  return {"system", "path", path,
          "file '" + OneLine(path) + "': " + std::generic_category().message(errno)};
}

std::string InHome(const std::string& home, const std::string& path) {
  const std::string inside = home + (home.ends_with('/') ? "" : "/");
  const std::string normal = std::filesystem::path(path).lexically_normal().string();
  if (!normal.starts_with(inside) || normal.size() == inside.size()) {
    throw BadValue("path", path, "a file in the user's home " + home);
  }
  return normal.substr(inside.size());
}

Descriptor OpenBeneath(int directory, const std::string& path) {
  open_how how{};
  how.flags = O_RDONLY | O_CLOEXEC | O_NONBLOCK;
  how.resolve = RESOLVE_BENEATH | RESOLVE_NO_SYMLINKS;
  return Descriptor(
      static_cast<int>(syscall(SYS_openat2, directory, path.c_str(), &how, sizeof(how))));
}

}  // namespace

Descriptor OpenHomeFile(const account::Account& account, const std::string& path) {
  const std::string name = InHome(account.home, path);
  const Descriptor home(open(account.home.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC));
  Descriptor file = OpenBeneath(home.get(), name);
  struct stat status {};
  if (!file || fstat(file.get(), &status) != 0) {
    throw OpenError(path);
  }
  const bool owned = status.st_uid == 0 || status.st_uid == account.uid;
  if (!S_ISREG(status.st_mode) || status.st_nlink != 1 || !owned) {
    throw BadValue("path", path, "a regular file of the user or of root, without other names");
  }
  return file;
}

}  // namespace panel
