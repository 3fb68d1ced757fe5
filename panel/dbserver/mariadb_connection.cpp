#include "panel/dbserver/mariadb_connection.h"

#include "panel/error.h"

namespace panel::dbserver {
namespace {

constexpr unsigned kConnectTimeout = 10;

struct FreeResult {
  void operator()(MYSQL_RES* result) const { mysql_free_result(result); }
};

std::vector<std::string> ReadRow(MYSQL_RES* result, MYSQL_ROW row) {
  const unsigned long* lengths = mysql_fetch_lengths(result);
  std::vector<std::string> texts;
  for (unsigned i = 0; i < mysql_num_fields(result); ++i) {
    texts.push_back(row[i] == nullptr ? std::string() : std::string(row[i], lengths[i]));
  }
  return texts;
}

}  // namespace

MariadbConnection::MariadbConnection(const std::string& socket) : handle_(mysql_init(nullptr)) {
  const unsigned off = 0;
  mysql_options(handle_.get(), MYSQL_SET_CHARSET_NAME, "utf8mb4");
  mysql_options(handle_.get(), MYSQL_OPT_CONNECT_TIMEOUT, &kConnectTimeout);
  mysql_options(handle_.get(), MYSQL_OPT_LOCAL_INFILE, &off);
  if (mysql_real_connect(handle_.get(), "localhost", "root", nullptr, nullptr, 0, socket.c_str(),
                         0) == nullptr) {
    Fail();
  }
  // Literal relies on backslashes.
  Run("SET SESSION sql_mode = 'STRICT_ALL_TABLES,NO_ENGINE_SUBSTITUTION'");
}

void MariadbConnection::Fail() {
  throw Error("system", "database server", "mysql",
              "MariaDB: " + std::string(mysql_error(handle_.get())));
}

Rows MariadbConnection::Run(const std::string& statement) {
  if (mysql_real_query(handle_.get(), statement.data(), statement.size()) != 0) {
    Fail();
  }
  Rows rows;
  const std::unique_ptr<MYSQL_RES, FreeResult> result(mysql_store_result(handle_.get()));
  if (result == nullptr && mysql_errno(handle_.get()) != 0) {
    Fail();
  }
  while (MYSQL_ROW row = result == nullptr ? nullptr : mysql_fetch_row(result.get())) {
    rows.push_back(ReadRow(result.get(), row));
  }
  return rows;
}

void MariadbConnection::RunUnless(unsigned code, const std::string& statement) {
  try {
    Run(statement);
  } catch (const Error&) {
    if (mysql_errno(handle_.get()) != code) {
      throw;
    }
  }
}

std::string MariadbConnection::Literal(const std::string& text) {
  std::string escaped(text.size() * 2 + 1, '\0');
  escaped.resize(mysql_real_escape_string(handle_.get(), escaped.data(), text.data(), text.size()));
  return "'" + escaped + "'";
}

}  // namespace panel::dbserver
