#pragma once

#include <filesystem>

#include "calls.h"
#include "certificates.h"
#include "database.h"
#include "hosted_databases.h"
#include "options.h"
#include "problems.h"
#include "sessions.h"
#include "users.h"

namespace panel {

/// Everything that the panel keeps, in one file.
struct State {
  State(const std::filesystem::path& file, Database::Open open) : database(file, open) {}

  Database database;
  Users users{database};
  Sessions sessions{database};
  Problems problems{database};
  CallLog calls{database};
  Certificates certificates{database};
  HostedDatabases hosted{database};
  Options options{database};
};

}  // namespace panel
