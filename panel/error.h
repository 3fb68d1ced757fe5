#pragma once

#include <stdexcept>
#include <string>

namespace panel {

/// What a caller gets in place of an answer. `type` is the kind of failure ("auth", "access",
/// "missing", "exists", "value", "request", "system"), `object` the field or thing it is about,
/// `value` that thing's value (empty where it is a secret), what() the message for people.
class Error : public std::runtime_error {
 public:
  Error(std::string type, std::string object, std::string value, const std::string& message);

  const std::string& type() const { return type_; }
  const std::string& object() const { return object_; }
  const std::string& value() const { return value_; }

 private:
  std::string type_;
  std::string object_;
  std::string value_;
};

/// The session may not call `function`, or not for this element.
Error Denied(const std::string& function);
/// There is no `object` of the name `value`.
Error Missing(const std::string& object, const std::string& value);
/// There is an `object` of the name `value` already.
Error Exists(const std::string& object, const std::string& value);
/// Field `field` may not hold `value`; `rule` says what it may hold.
Error BadValue(const std::string& field, const std::string& value, const std::string& rule);

}  // namespace panel
