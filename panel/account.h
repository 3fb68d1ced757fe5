#pragma once

#include <sys/types.h>

#include <optional>
#include <string>
#include <string_view>

/// Accounts of this host.
namespace panel::account {

struct Account {
  std::string name;
  uid_t uid = 0;
  gid_t gid = 0;
  std::string home;
  std::string shell;

  /// True when the account's login shell lets somebody in.
  bool ShellOn() const;
};

/// True when `name` can name an account: letters, digits and `_.-`, not beginning with `-` or `.`,
/// at most 32 bytes. Nothing else ever reaches a command.
bool ValidName(std::string_view name);

/// The account `name`; none when the name is not valid or the host has no such account.
std::optional<Account> Find(const std::string& name);
/// The same. Throws Error "missing" when there is none.
Account Require(const std::string& name);

/// Gives the account `name` bash or nologin. Throws Error "system" with what usermod said.
void SetShell(const std::string& name, bool on);
/// Lets the account expire, so that no login of any kind is let in. Throws like SetShell.
void Suspend(const std::string& name);
/// Takes Suspend back. Throws like SetShell.
void Resume(const std::string& name);

/// Gives up this process's rights for those of `account`, for good. Throws Error "system".
void Become(const Account& account);

}  // namespace panel::account
