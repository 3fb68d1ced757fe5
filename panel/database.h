#pragma once

#include <sqlite3.h>

#include <concepts>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>

namespace panel {

/// The panel's state file, an SQLite database that belongs to its owner alone. Several processes
/// and threads may work on it at once: each waits for the other.
class Database {
 public:
  enum class Open { kExisting, kCreate };

  /// Opens `file`; with kCreate a missing one is made. Throws Error "system" for a file that is not
  /// there, that others can read, or that is no state of a reference panel.
  Database(const std::filesystem::path& file, Open open);

  /// Runs statements that take no values and give no rows.
  void Exec(const char* statements);

 private:
  friend class Statement;
  friend class Transaction;
  struct Close {
    void operator()(sqlite3* handle) const { sqlite3_close_v2(handle); }
  };

  [[noreturn]] void Fail() const;
  void ClaimFile();

  std::string file_;
  std::unique_ptr<sqlite3, Close> handle_;
  std::recursive_mutex mutex_;
};

/// One statement with its values bound. It holds the database for its own thread while it lives.
class Statement {
 public:
  /// Each value is a text or a number, one for each `?` of `sql`.
  template <typename... Values>
  Statement(Database& database, const char* sql, const Values&... values)
      : Statement(Prepare{}, database, sql) {
    (Bind(values), ...);
  }

  /// Goes to the next row; false when there is none.
  bool Next();
  /// Runs the statement to its end and gives the number of rows that it changed.
  int Run();
  /// Columns of the current row, from 0.
  std::string Text(int column) const;
  std::int64_t Number(int column) const;

 private:
  struct Prepare {};
  struct Finalize {
    void operator()(sqlite3_stmt* handle) const { sqlite3_finalize(handle); }
  };

  Statement(Prepare, Database& database, const char* sql);
  void Bind(std::string_view text);
  void Bind(std::int64_t number);
  // Not for what only converts to bool, as literals do.
  void Bind(std::same_as<bool> auto flag) { Bind(std::int64_t{flag}); }

  Database& database_;
  std::unique_lock<std::recursive_mutex> lock_;
  std::unique_ptr<sqlite3_stmt, Finalize> handle_;
  int bound_ = 0;
};

/// Several statements that hold together: undone unless Commit was reached.
class Transaction {
 public:
  explicit Transaction(Database& database);
  ~Transaction();
  Transaction(const Transaction&) = delete;
  Transaction& operator=(const Transaction&) = delete;

  void Commit();

 private:
  Database& database_;
  std::unique_lock<std::recursive_mutex> lock_;
  bool open_ = true;
};

}  // namespace panel
