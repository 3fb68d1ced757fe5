#include "panel/account.h"

#include <grp.h>
#include <pwd.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <mutex>
#include <vector>

#include "panel/error.h"
#include "panel/text.h"
#include "trel/trel_proc.h"

namespace panel::account {
namespace {

constexpr std::size_t kMaxName = 32;
constexpr std::array<std::string_view, 4> kNoShells = {"/usr/sbin/nologin", "/sbin/nologin",
                                                       "/bin/false", "/usr/bin/false"};

Error SystemError(const std::string& name, const std::string& message) {
  return {"system", "account", name, "account '" + name + "': " + message};
}

void Usermod(const std::string& name, const char* option, const char* value) {
  // One usermod at a time: a second one would wait for the lock of /etc/passwd in whole seconds.
  static std::mutex mutex;
  const std::lock_guard lock(mutex);
  trel_proc::Execute usermod(
      {"/usr/sbin/usermod", option, value, "--", name},
      trel_proc::Execute::kCaptureOutput | trel_proc::Execute::kCaptureErrors);
  const int status = usermod.Result();
  if (status != 0) {
    throw SystemError(name, "usermod ended with status " + std::to_string(status) + ": " +
                                OneLine(usermod.Str()));
  }
}

}  // namespace

bool Account::ShellOn() const {
  return std::find(kNoShells.begin(), kNoShells.end(), shell) == kNoShells.end();
}

bool ValidName(std::string_view name) {
  return !name.empty() && name.size() <= kMaxName && name.front() != '-' && name.front() != '.' &&
         name.find_first_not_of(
             "abcdefghijklmnopqrstuvwxyz"
             "ABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789_.-") == std::string_view::npos;
}

std::optional<Account> Find(const std::string& name) {
  if (!ValidName(name)) {
    return std::nullopt;
  }
  std::vector<char> buffer(1024);
  passwd entry{};
  passwd* found = nullptr;
  while (getpwnam_r(name.c_str(), &entry, buffer.data(), buffer.size(), &found) == ERANGE) {
    buffer.resize(buffer.size() * 2);
  }
  if (found == nullptr) {
    return std::nullopt;
  }
  return Account{found->pw_name, found->pw_uid, found->pw_gid, found->pw_dir, found->pw_shell};
}

Account Require(const std::string& name) {
  std::optional<Account> account = Find(name);
  if (!account) {
    throw Missing("account", name);
  }
  return *account;
}

void SetShell(const std::string& name, bool on) {
  Usermod(name, "--shell", on ? "/bin/bash" : "/usr/sbin/nologin");
}

void Suspend(const std::string& name) {
  Usermod(name, "--expiredate", "1");
}

void Resume(const std::string& name) {
  Usermod(name, "--expiredate", "");
}

void Become(const Account& account) {
  const bool done = geteuid() == 0 ? initgroups(account.name.c_str(), account.gid) == 0 &&
                                         setresgid(account.gid, account.gid, account.gid) == 0 &&
                                         setresuid(account.uid, account.uid, account.uid) == 0
                                   : geteuid() == account.uid;
  if (!done) {
    throw SystemError(account.name, "cannot take its rights");
  }
}

}  // namespace panel::account
