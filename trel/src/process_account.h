#pragma once

#include <sys/types.h>

#include <optional>
#include <string>
#include <vector>

#include "trel/str.h"

namespace trel_seam {

/// An account of this host, with what a child that runs as it needs.
struct Account {
  std::string name;
  std::string home;
  std::string shell;
  uid_t uid = 0;
  gid_t gid = 0;
  std::vector<gid_t> groups;  ///< supplementary groups, `gid` among them
};

/// The account `name`; of the empty name, the one that this process runs as. None when there is no
/// such account.
std::optional<Account> FindAccount(const std::string& name);

/// The variables that a child of `account` starts with, each as "NAME=value": a clean set, and
/// `added`, which goes before it.
std::vector<std::string> MakeEnvironment(const Account& account, const StringMap& added);

}  // namespace trel_seam
