#pragma once

#include <filesystem>

#include "panel/calls.h"
#include "panel/certificates.h"
#include "panel/database.h"
#include "panel/hosted_databases.h"
#include "panel/options.h"
#include "panel/problems.h"
#include "panel/sessions.h"
#include "panel/users.h"

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
