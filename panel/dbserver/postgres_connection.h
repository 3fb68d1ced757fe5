#pragma once

#include <libpq-fe.h>

#include <memory>
#include <string>
#include <vector>

#include "panel/dbserver/database_server.h"

namespace panel::dbserver {

/// A connection to one database of PostgreSQL as its administrator. Statements find no names but
/// the system's own without a schema: nothing that a user of the database made is run by accident.
class PostgresConnection {
 public:
  using Rows = std::vector<std::vector<std::string>>;

  /// Throws Error "system" when the server is not there or refuses.
  PostgresConnection(const Endpoints& endpoints, const std::string& database);

  /// Runs one statement with a value for each $1, $2... Throws Error "system" with the server's
  /// words. NULL is the empty text.
  Rows Run(const std::string& statement, const std::vector<std::string>& values = {});
  std::string DatabaseName() const { return PQdb(handle_.get()); }
  /// `name` as an identifier of SQL.
  std::string Identifier(const std::string& name);
  /// `text` as a literal of SQL.
  std::string Literal(const std::string& text);
  /// The hash that the server makes of a password.
  std::string HashOf(const std::string& password);

 private:
  struct Close {
    void operator()(PGconn* handle) const { PQfinish(handle); }
  };
  struct FreeMemory {
    void operator()(char* text) const { PQfreemem(text); }
  };

  [[noreturn]] void Fail();
  // Takes a text of the library, which is null when it failed.
  std::string Take(char* text);

  std::unique_ptr<PGconn, Close> handle_;
};

}  // namespace panel::dbserver
