#pragma once

#include <array>
#include <optional>
#include <string>
#include <vector>

#include "panel/database.h"
#include "panel/form.h"

namespace panel {

/// The fields of a user's form that the panel only keeps.
inline constexpr std::array kUserFields = {"fullname", "email", "disklimit", "note"};

struct User {
  std::string name;
  bool disabled = false;
  Fields fields;  ///< all of kUserFields
};

/// The users of the panel. Whether a user has a shell is not kept here: the system's account says.
class Users {
 public:
  explicit Users(Database& database);

  /// Throws Error "exists" for a name that is taken.
  void Add(const std::string& name);
  std::optional<User> Find(const std::string& name);
  /// Throws Error "missing" when there is no such user.
  User Require(const std::string& name);
  /// All users in order of their names.
  std::vector<User> All();
  /// Sets the fields of `user.name` to `user.fields`. REQUIRES: the user exists.
  void SaveFields(const User& user);
  /// REQUIRES: the user exists.
  void SetDisabled(const std::string& name, bool disabled);

 private:
  Database& database_;
};

}  // namespace panel
