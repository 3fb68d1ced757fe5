#include "trel/trel_env.h"

#include "seam/seam.h"
#include "trel/str.h"

namespace trel_env {
namespace {

constexpr int kLinux = 0x20100;
constexpr int kCloudLinux = 0x20104;

/// The value of ID in the text of an os-release file, without its quotes.
std::string ReadId(const std::string& text) {
  std::string_view rest = text;
  while (!rest.empty()) {
    std::string_view value = str::GetWord(rest, "\n");
    if (str::GetWord(value, "=") != "ID") continue;
    while (!value.empty() && (value.front() == '"' || value.front() == '\''))
      value.remove_prefix(1);
    return std::string(value.substr(0, value.find_first_of("\"'")));
  }
  return "";
}

}  // namespace

int GetOsType() {
  return ReadId(trel_seam::Current().host->OsRelease()) == "cloudlinux" ? kCloudLinux : kLinux;
}

}  // namespace trel_env
