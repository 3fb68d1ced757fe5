#include <pwd.h>
#include <sodium.h>

#include <chrono>
#include <fstream>
#include <iterator>
#include <vector>

#include "seam/seam.h"

namespace trel_seam {
namespace {

class LinuxHost : public Host {
 public:
  std::int64_t Now() override {
    using std::chrono::duration_cast, std::chrono::microseconds, std::chrono::system_clock;
    return duration_cast<microseconds>(system_clock::now().time_since_epoch()).count();
  }

  std::string Random(std::size_t count) override {
    std::string bytes(count, '\0');
    randombytes_buf(bytes.data(), bytes.size());
    return bytes;
  }

  std::optional<std::string> HomeOf(const std::string& name) override {
    passwd entry{};
    passwd* found = nullptr;
    std::vector<char> space(1 << 16);
    getpwnam_r(name.c_str(), &entry, space.data(), space.size(), &found);
    if (found == nullptr) return std::nullopt;
    return found->pw_dir;
  }

  std::string OsRelease() override {
    std::ifstream file("/etc/os-release", std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
  }
};

}  // namespace

std::shared_ptr<Host> MakeHost() {
  return std::make_shared<LinuxHost>();
}

}  // namespace trel_seam
