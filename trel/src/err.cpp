#include "trel/trel_err.h"

#include "trel/trel_xml.h"
#include "xml_document.h"

namespace trel_err {
namespace {

/// The document of an error that no panel wrote.
trel_xml::Xml MakeDocument(const std::string& type, const std::string& object,
                           const std::string& value, const std::string* message) {
  auto document = std::make_shared<trel_xml::Document>();
  auto error = document->tree.append_child("doc").append_child("error");
  error.append_attribute("type") = type.c_str();
  error.append_attribute("object") = object.c_str();
  error.append_child("value").text() = value.c_str();
  if (message != nullptr) error.append_child("msg").text() = message->c_str();
  return trel_xml::Xml(document);
}

/// "type: object: value", without the empty ones, and in brackets what the document adds.
std::string Describe(const std::string& type, const std::string& object, const std::string& value,
                     const trel_xml::Xml& document) {
  std::string text = type;
  for (const auto* part : {&object, &value}) {
    if (!part->empty()) str::Append(text, *part, ": ");
  }
  const std::string message = document.GetNode("/doc/error/msg").Str();
  return message.empty() || message == value ? text : text + " (" + message + ")";
}

}  // namespace

Error::Error(const std::string& type, const std::string& object, const std::string& value)
    : Error(type, object, value, MakeDocument(type, object, value, nullptr)) {}

Error::Error(const std::string& type, const std::string& object, const std::string& value,
             const std::string& message)
    : Error(type, object, value, MakeDocument(type, object, value, &message)) {}

Error::Error(const std::string& type, const std::string& object, const std::string& value,
             const trel_xml::Xml& document)
    : type_(type),
      object_(object),
      value_(value),
      xml_(document),
      what_(Describe(type, object, value, document)) {}

void AssertError::Raise(const std::string& file, int line, const std::string& function,
                        const std::string& message) {
  throw AssertError("assert", file + ":" + std::to_string(line) + " " + function, message, message);
}

}  // namespace trel_err
