#include "panel/database.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>

#include "panel/descriptor.h"
#include "panel/error.h"

namespace panel {
namespace {

constexpr int kBusyTimeoutMs = 10000;
// "refp": marks the file as a state of this program.
constexpr std::int64_t kApplicationId = 0x72656670;

Error FileError(const std::string& file, const std::string& message) {
  return {"system", "state", file, "state file " + file + ": " + message};
}

// SQLite makes files by the umask; this one must never be open to others, not even for a moment.
void SecureFile(const std::string& file, Database::Open open) {
  const int create = open == Database::Open::kCreate ? O_CREAT : 0;
  const Descriptor descriptor(
      ::open(file.c_str(), O_RDWR | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK | create, 0600));
  struct stat status {};
  if (!descriptor || fstat(descriptor.get(), &status) != 0) {
    throw FileError(file, std::generic_category().message(errno));
  }
  if (!S_ISREG(status.st_mode)) {
    throw FileError(file, "not a regular file");
  }
  if (status.st_uid != geteuid() || (status.st_mode & 077) != 0) {
    throw FileError(file, "must belong to its user alone (mode 0600)");
  }
}

}  // namespace

Database::Database(const std::filesystem::path& file, Open open) : file_(file.string()) {
  SecureFile(file_, open);
  sqlite3* handle = nullptr;
  const int result = sqlite3_open_v2(file_.c_str(), &handle,
                                     SQLITE_OPEN_READWRITE | SQLITE_OPEN_FULLMUTEX, nullptr);
  handle_.reset(handle);
  if (result != SQLITE_OK) {
    Fail();
  }
  sqlite3_busy_timeout(handle, kBusyTimeoutMs);
  ClaimFile();
  Exec("PRAGMA journal_mode = WAL; PRAGMA foreign_keys = ON;");
}

void Database::ClaimFile() {
  Statement found(*this,
                  "SELECT application_id, (SELECT count(*) FROM sqlite_schema) "
                  "FROM pragma_application_id()");
  found.Next();
  if (found.Number(0) == kApplicationId) {
    return;
  }
  if (found.Number(0) != 0 || found.Number(1) != 0) {
    throw FileError(file_, "a database of another program");
  }
  Exec(("PRAGMA application_id = " + std::to_string(kApplicationId)).c_str());
}

void Database::Exec(const char* statements) {
  const std::lock_guard lock(mutex_);
  if (sqlite3_exec(handle_.get(), statements, nullptr, nullptr, nullptr) != SQLITE_OK) {
    Fail();
  }
}

void Database::Fail() const {
  throw FileError(file_, sqlite3_errmsg(handle_.get()));
}

Statement::Statement(Prepare, Database& database, const char* sql)
    : database_(database), lock_(database.mutex_) {
  sqlite3_stmt* handle = nullptr;
  const int result = sqlite3_prepare_v2(database.handle_.get(), sql, -1, &handle, nullptr);
  handle_.reset(handle);
  if (result != SQLITE_OK) {
    database_.Fail();
  }
}

void Statement::Bind(std::string_view text) {
  if (sqlite3_bind_text64(handle_.get(), ++bound_, text.data() == nullptr ? "" : text.data(),
                          text.size(), SQLITE_TRANSIENT, SQLITE_UTF8) != SQLITE_OK) {
    database_.Fail();
  }
}

void Statement::Bind(std::int64_t number) {
  if (sqlite3_bind_int64(handle_.get(), ++bound_, number) != SQLITE_OK) {
    database_.Fail();
  }
}

bool Statement::Next() {
  switch (sqlite3_step(handle_.get())) {
    case SQLITE_ROW:
      return true;
    case SQLITE_DONE:
      return false;
    default:
      database_.Fail();
  }
}

int Statement::Run() {
  while (Next()) {
  }
  return sqlite3_changes(database_.handle_.get());
}

std::string Statement::Text(int column) const {
  const unsigned char* text = sqlite3_column_text(handle_.get(), column);
  const int size = sqlite3_column_bytes(handle_.get(), column);
  return text == nullptr
             ? std::string()
             : std::string(reinterpret_cast<const char*>(text), static_cast<std::size_t>(size));
}

std::int64_t Statement::Number(int column) const {
  return sqlite3_column_int64(handle_.get(), column);
}

Transaction::Transaction(Database& database) : database_(database), lock_(database.mutex_) {
  database_.Exec("BEGIN IMMEDIATE");
}

Transaction::~Transaction() {
  if (open_) {
    // A failed rollback leaves nothing to do: SQLite has undone the transaction by itself.
    sqlite3_exec(database_.handle_.get(), "ROLLBACK", nullptr, nullptr, nullptr);
  }
}

void Transaction::Commit() {
  database_.Exec("COMMIT");
  open_ = false;
}

}  // namespace panel
