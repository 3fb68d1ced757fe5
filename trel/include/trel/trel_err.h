#pragma once

#include <exception>
#include <string>

#include "trel/export.h"
#include "trel/trel_xml.h"

/// Errors of the framework.
namespace trel_err {

/// A failure with three names: which kind (type), of what (object), and which one (value).
/// None of the texts may hold a secret: they reach logs, problems and screens.
class TREL_EXPORT Error : public std::exception {
 public:
  /// An error without a message of its own: its document holds the three names alone.
  explicit Error(const std::string& type, const std::string& object = "",
                 const std::string& value = "");
  /// An error whose document carries `message` as /doc/error/msg.
  Error(const std::string& type, const std::string& object, const std::string& value,
        const std::string& message);
  /// An error that a panel reported with `document`, whose root holds an `error`.
  Error(const std::string& type, const std::string& object, const std::string& value,
        const trel_xml::Xml& document);

  const std::string& type() const { return type_; }
  const std::string& object() const { return object_; }
  const std::string& value() const { return value_; }
  /// The panel's document, or one of the same form:
  /// /doc/error with the attributes `type` and `object` and the children `value` and `msg`.
  const trel_xml::Xml& xml() const { return xml_; }
  /// Type, object and value in one line, and the document's message where it says more.
  const char* what() const noexcept override { return what_.c_str(); }

 private:
  std::string type_;
  std::string object_;
  std::string value_;
  trel_xml::Xml xml_;
  std::string what_;
};

/// Something that has to be there and is not: an Error of type "missed".
class TREL_EXPORT Missed : public Error {
 public:
  explicit Missed(const std::string& object, const std::string& value = "")
      : Error("missed", object, value) {}
};

/// A broken precondition: the caller, not the world, is at fault.
class TREL_EXPORT AssertError : public Error {
 public:
  /// Throws an AssertError of type "assert" that names the place; `message` is its message.
  [[noreturn]] static void Raise(const std::string& file, int line, const std::string& function,
                                 const std::string& message);

 private:
  using Error::Error;
};

}  // namespace trel_err
