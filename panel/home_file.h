#pragma once

#include <string>

#include "panel/account.h"
#include "panel/descriptor.h"

namespace panel {

/// Opens the file `path` in the home of `account` for reading, although we have the rights to read
/// more than the account's owner may see: the path leads through no link, to a regular file of one
/// name that belongs to the account or to root. Throws Error "value" for a path outside the home
/// and for any other file, "system" when it cannot be opened.
Descriptor OpenHomeFile(const account::Account& account, const std::string& path);

}  // namespace panel
