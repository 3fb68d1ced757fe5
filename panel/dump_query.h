#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "panel/function.h"
#include "panel/hosted_databases.h"

namespace panel {

/// A GET that asks for the dump of a database: of generation 4
/// `/zelcgi/dbdownload?elid=NAME&auth=KEY`, of generation 5
/// `ANY/PATH?func=db.dump&elid=NAME->SERVER &auth=KEY`.
struct DumpQuery {
  std::string function;  ///< what the log of calls says: "dbdownload" or "db.dump"
  Form form;             ///< all fields but elid
  /// What elid can mean: callers put it in the URL as it is, or percent-encoded.
  std::vector<std::string> readings;

  /// Reads the path and query of a URL; none when it is no such GET on a panel of that role. Throws
  /// Error like Form::Parse, and "value" without an elid.
  static std::optional<DumpQuery> Parse(const Role& role, std::string_view target);

  /// The one of `databases` that is meant. Generation 4 looks without regard to case where no name
  /// is the same. Throws Error "missing" when there is none and "value" when there are several.
  Hosted Choose(const std::vector<Hosted>& databases) const;
};

}  // namespace panel
