#include "panel/sessions.h"

#include "panel/digest.h"
#include "panel/error.h"
#include "trel/str.h"

namespace panel {
namespace {

constexpr std::size_t kKeyBytes = 32;

// Keys are random, so that a plain hash tells nothing about them.
std::string Hash(const std::string& key) {
  return Sha256(key);
}

}  // namespace

Sessions::Sessions(Database& database) : database_(database) {
  database_.Exec(
      "CREATE TABLE IF NOT EXISTS sessions("
      "  hash TEXT PRIMARY KEY, user TEXT NOT NULL) STRICT;"
      "CREATE TABLE IF NOT EXISTS login_keys("
      "  hash TEXT NOT NULL, user TEXT NOT NULL, PRIMARY KEY(hash, user)) STRICT");
}

std::string Sessions::Open(const Session& session) {
  std::string key = str::hex::Encode(str::Random(kKeyBytes));
  Statement(database_, "INSERT INTO sessions(hash, user) VALUES (?, ?)", Hash(key), session.user)
      .Run();
  return key;
}

std::optional<Session> Sessions::Find(const std::string& key) {
  Statement row(database_, "SELECT user FROM sessions WHERE hash = ?", Hash(key));
  if (!row.Next()) {
    return std::nullopt;
  }
  return Session{row.Text(0)};
}

void Sessions::AddLoginKey(const std::string& user, const std::string& key) {
  if (Statement(database_, "INSERT OR IGNORE INTO login_keys(hash, user) VALUES (?, ?)", Hash(key),
                user)
          .Run() == 0) {
    throw Error("exists", "key", "", "this login key is registered already");
  }
}

bool Sessions::UseLoginKey(const std::string& user, const std::string& key) {
  return Statement(database_, "DELETE FROM login_keys WHERE hash = ? AND user = ?", Hash(key), user)
             .Run() == 1;
}

}  // namespace panel
