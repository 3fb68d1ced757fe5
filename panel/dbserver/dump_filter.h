#pragma once

#include <memory>
#include <string>
#include <string_view>

namespace panel::dbserver {

/// Changes a dump on its way to the server's client. Bytes come in pieces of any size.
class DumpFilter {
 public:
  virtual ~DumpFilter() = default;

  /// Takes the next bytes, gives those that can go on.
  virtual std::string Feed(std::string_view bytes) = 0;
  /// Gives what was held back at the end of the dump.
  virtual std::string End() = 0;
};

/// Makes `account` the definer of every view, trigger, routine and event of a MariaDB or MySQL dump
/// that names another: DEFINER clauses at the beginning of statements are rewritten, versioned
/// comments looked through; everything else is left byte for byte.
/// `account` is put in as it stands.
std::unique_ptr<DumpFilter> DefinerFilter(std::string account);

/// Shuts psql's own commands off for a dump of PostgreSQL, by a `\restrict` of that key in front in
/// place of the dump's own. REQUIRES: `key` is a word of letters and digits.
std::unique_ptr<DumpFilter> RestrictFilter(const std::string& key);

}  // namespace panel::dbserver
