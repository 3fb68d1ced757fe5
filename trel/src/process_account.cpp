#include "process_account.h"

#include <grp.h>
#include <pwd.h>
#include <unistd.h>

#include <algorithm>

namespace trel_seam {
namespace {

/// The supplementary groups. They may change between two calls, and an entry too many would be
/// root's group: only what a call filled in counts.
std::vector<gid_t> GroupsOf(const passwd& entry) {
  std::vector<gid_t> groups(16);
  for (;;) {
    int count = static_cast<int>(groups.size());
    const bool all = getgrouplist(entry.pw_name, entry.pw_gid, groups.data(), &count) >= 0;
    groups.resize(static_cast<std::size_t>(std::max(count, 1)));
    if (all) return groups;
  }
}

}  // namespace

std::optional<Account> FindAccount(const std::string& name) {
  passwd entry{};
  passwd* found = nullptr;
  std::vector<char> space(1 << 16);
  if (name.empty()) {
    getpwuid_r(geteuid(), &entry, space.data(), space.size(), &found);
  } else {
    getpwnam_r(name.c_str(), &entry, space.data(), space.size(), &found);
  }
  if (found == nullptr) return std::nullopt;
  return Account{entry.pw_name, entry.pw_dir, entry.pw_shell,
                 entry.pw_uid,  entry.pw_gid, GroupsOf(entry)};
}

std::vector<std::string> MakeEnvironment(const Account& account, const StringMap& added) {
  StringMap variables{{"PATH", "/usr/local/sbin:/usr/local/bin:/usr/sbin:/usr/bin:/sbin:/bin"},
                      {"LANG", "C.UTF-8"},
                      {"HOME", account.home},
                      {"USER", account.name},
                      {"LOGNAME", account.name},
                      {"SHELL", account.shell}};
  for (const auto& [name, value] : added) variables[name] = value;
  std::vector<std::string> texts;
  for (const auto& [name, value] : variables) texts.push_back(name + "=" + value);
  return texts;
}

}  // namespace trel_seam
