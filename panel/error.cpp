#include "panel/error.h"

#include <utility>

#include "panel/text.h"

namespace panel {

Error::Error(std::string type, std::string object, std::string value, const std::string& message)
    : std::runtime_error(message),
      type_(std::move(type)),
      object_(std::move(object)),
      value_(std::move(value)) {}

Error Denied(const std::string& function) {
  // Callers tell a refusal by exactly this message.
  return {"access", "func", function, "Permission denied"};
}

Error Missing(const std::string& object, const std::string& value) {
  return {"missing", object, value, "no " + object + " '" + OneLine(value) + "'"};
}

Error Exists(const std::string& object, const std::string& value) {
  return {"exists", object, value, object + " '" + OneLine(value) + "' exists already"};
}

Error BadValue(const std::string& field, const std::string& value, const std::string& rule) {
  return {"value", field, value,
          "bad value '" + OneLine(value) + "' of field " + field + ": " + rule};
}

}  // namespace panel
