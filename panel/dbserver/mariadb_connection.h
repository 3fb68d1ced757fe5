#pragma once

#include <mysql.h>

#include <memory>
#include <string>
#include <vector>

namespace panel::dbserver {

/// The rows of an answer; NULL is the empty text.
using Rows = std::vector<std::vector<std::string>>;

/// An open connection to MariaDB as its administrator.
class MariadbConnection {
 public:
  /// Throws Error "system" when the server is not there or refuses.
  explicit MariadbConnection(const std::string& socket);

  /// Runs one statement. Throws Error "system" with the server's words.
  Rows Run(const std::string& statement);
  /// The same; an answer of error `code` counts as none.
  void RunUnless(unsigned code, const std::string& statement);
  /// `text` as a literal of SQL.
  std::string Literal(const std::string& text);

 private:
  struct Close {
    void operator()(MYSQL* handle) const { mysql_close(handle); }
  };

  [[noreturn]] void Fail();

  std::unique_ptr<MYSQL, Close> handle_;
};

}  // namespace panel::dbserver
