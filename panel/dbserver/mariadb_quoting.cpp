#include "panel/dbserver/mariadb_quoting.h"

namespace panel::dbserver {

std::string MariadbIdentifier(const std::string& name) {
  // A backtick within is doubled.
  std::string quoted = "`";
  for (const char c : name) {
    quoted.append(c == '`' ? 2 : 1, c);
  }
  return quoted + "`";
}

std::string MariadbAccount(const std::string& user, const std::string& host) {
  return MariadbIdentifier(user) + "@" + MariadbIdentifier(host);
}

std::string MariadbGrantPattern(const std::string& database) {
  std::string pattern;
  for (const char c : database) {
    if (c == '%' || c == '_') {
      pattern += '\\';
    }
    pattern += c;
  }
  return MariadbIdentifier(pattern);
}

}  // namespace panel::dbserver
