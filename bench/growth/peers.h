#pragma once

#include <string>
#include <string_view>

#include "seam/seam.h"

namespace bench {

/// An account on scripted panels: how much of everything there is.
struct Account {
  std::string generation = "5";
  std::size_t databases = 0;
  std::size_t users = 0;  ///< of each database
  std::string passwd;     ///< the source host's /etc/passwd
};

/// Puts peers into the seam that answer as the panels and the source's host of `account` would,
/// each answer made before. What they cost themselves is a copy of the answer. The log stays real.
void InstallPeers(const Account& account);

/// The parameters of the job that moves the account, whose home here is `home`.
std::string ParametersOf(const Account& account, const std::string& home);

/// A database user's form on a panel of generation 5, with the description that comes with it.
std::string UserForm();

/// A list of `size` bytes or a few more, as a panel gives it.
std::string ListOfSize(std::size_t size);

}  // namespace bench
