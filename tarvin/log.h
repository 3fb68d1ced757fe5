#pragma once

#include "trel/trel_file.h"
#include "trel/trel_log.h"

/// Writes one line to the module `log_module` of the source file, which also names itself in
/// `kSource`. The arguments are evaluated only when the level is enabled.
#define TARVIN_LOG(level, ...)                                         \
  do {                                                                 \
    if (log_module.Check(level)) log_module.Write(level, __VA_ARGS__); \
  } while (false)

/// The two arguments of a "%s:%d" prefix: the name of the source file and the line.
#define TARVIN_PLACE trel_file::SplitPath(kSource).second.c_str(), __LINE__
