#pragma once

#include <optional>
#include <string>

#include "panel/database.h"

namespace panel {

/// Who calls. Without a user: the administrator.
struct Session {
  std::string user;

  bool administrator() const { return user.empty(); }
};

/// Session keys, and the one-time keys by which a user's session is opened. Only hashes are kept.
class Sessions {
 public:
  explicit Sessions(Database& database);

  /// Makes a session and gives its key: 64 hexadecimal digits.
  std::string Open(const Session& session);
  std::optional<Session> Find(const std::string& key);

  /// Registers a one-time key of `user`. Throws Error "exists" when that key waits already.
  void AddLoginKey(const std::string& user, const std::string& key);
  /// Takes the one-time key away; false when `user` has no such key.
  bool UseLoginKey(const std::string& user, const std::string& key);

 private:
  Database& database_;
};

}  // namespace panel
