#pragma once

#include "trel/export.h"

/// What this machine is.
namespace trel_env {

/// The type of the operating system: 0x20104 where /etc/os-release has ID=cloudlinux, 0x20100 for
/// every other Linux.
TREL_EXPORT int GetOsType();

}  // namespace trel_env
