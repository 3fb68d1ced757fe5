#include <sodium.h>

#include <chrono>
#include <fstream>
#include <iterator>

#include "process_account.h"
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
    std::string bytes;
    bytes.resize(count);
    randombytes_buf(bytes.data(), bytes.size());
    return bytes;
  }

  std::optional<std::string> HomeOf(const std::string& name) override {
    // The empty name is that of nobody, not our own.
    const auto account = name.empty() ? std::nullopt : FindAccount(name);
    if (!account) return std::nullopt;
    return account->home;
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
