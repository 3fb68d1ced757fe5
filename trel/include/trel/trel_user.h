#pragma once

#include <string>

#include "trel/export.h"

/// System accounts of this host.
namespace trel_user {

/// The home directory of account `name`.
/// Throws trel_err::Error "missed" / "user" / name when there is no such account.
TREL_EXPORT std::string GetHome(const std::string& name);

}  // namespace trel_user
