#include "panel/dbserver/postgres_connection.h"

#include <sys/syscall.h>
#include <unistd.h>

#include <array>

#include "panel/account.h"
#include "panel/error.h"
#include "trel/str.h"

namespace panel::dbserver {
namespace {

constexpr const char* kAdministrator = "postgres";

// While it lives this thread, and no other, is the account that the server knows its administrator
// by.
class AsAdministrator {
 public:
  AsAdministrator() { SetEffective(account::Require(kAdministrator).uid); }
  AsAdministrator(const AsAdministrator&) = delete;
  AsAdministrator& operator=(const AsAdministrator&) = delete;
  ~AsAdministrator() { syscall(SYS_setresuid, -1, own_, -1); }

 private:
  // The library's function would change all threads.
  void SetEffective(uid_t uid) {
    if (syscall(SYS_setresuid, -1, uid, -1) != 0) {
      throw Error("system", "account", kAdministrator,
                  "cannot take the rights of account postgres");
    }
  }

  uid_t own_ = geteuid();
};

struct Clear {
  void operator()(PGresult* result) const { PQclear(result); }
};

PGconn* Connect(const Endpoints& endpoints, const std::string& database) {
  const std::array keywords = {"host",
                               "port",
                               "user",
                               "dbname",
                               "options",
                               "client_encoding",
                               "application_name",
                               "connect_timeout",
                               static_cast<const char*>(nullptr)};
  const std::array values = {endpoints.pgsql_socket.c_str(),
                             endpoints.pgsql_port.c_str(),
                             kAdministrator,
                             database.c_str(),
                             "-c search_path=",
                             "UTF8",
                             "refpanel",
                             "10",
                             static_cast<const char*>(nullptr)};
  const AsAdministrator as_administrator;
  return PQconnectdbParams(keywords.data(), values.data(), 0);
}

}  // namespace

PostgresConnection::PostgresConnection(const Endpoints& endpoints, const std::string& database)
    : handle_(Connect(endpoints, database)) {
  if (PQstatus(handle_.get()) != CONNECTION_OK) {
    Fail();
  }
  PQsetNoticeProcessor(
      handle_.get(), [](void*, const char*) {}, nullptr);
}

void PostgresConnection::Fail() {
  throw Error("system", "database server", "pgsql",
              "PostgreSQL: " + str::Trim(PQerrorMessage(handle_.get())));
}

PostgresConnection::Rows PostgresConnection::Run(const std::string& statement,
                                                 const std::vector<std::string>& values) {
  std::vector<const char*> texts;
  texts.reserve(values.size());
  for (const std::string& value : values) {
    texts.push_back(value.c_str());
  }
  const std::unique_ptr<PGresult, Clear> result(
      PQexecParams(handle_.get(), statement.c_str(), static_cast<int>(texts.size()), nullptr,
                   texts.data(), nullptr, nullptr, 0));
  const ExecStatusType status = PQresultStatus(result.get());
  if (status != PGRES_TUPLES_OK && status != PGRES_COMMAND_OK) {
    Fail();
  }
  Rows rows(static_cast<std::size_t>(PQntuples(result.get())));
  for (int row = 0; row < PQntuples(result.get()); ++row) {
    for (int column = 0; column < PQnfields(result.get()); ++column) {
      rows[static_cast<std::size_t>(row)].emplace_back(PQgetvalue(result.get(), row, column));
    }
  }
  return rows;
}

std::string PostgresConnection::Take(char* text) {
  const std::unique_ptr<char, FreeMemory> owned(text);
  if (owned == nullptr) {
    Fail();
  }
  return owned.get();
}

std::string PostgresConnection::Identifier(const std::string& name) {
  return Take(PQescapeIdentifier(handle_.get(), name.data(), name.size()));
}

std::string PostgresConnection::Literal(const std::string& text) {
  return Take(PQescapeLiteral(handle_.get(), text.data(), text.size()));
}

std::string PostgresConnection::HashOf(const std::string& password) {
  // The user's name would matter for MD5 alone.
  return Take(PQencryptPasswordConn(handle_.get(), password.c_str(), "", "scram-sha-256"));
}

}  // namespace panel::dbserver
