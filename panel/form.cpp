#include "panel/form.h"

#include <charconv>
#include <utility>

#include "panel/error.h"
#include "panel/text.h"

namespace panel {
namespace {

Error BadRequest(const std::string& message) {
  return {"request", "body", "", "malformed body: " + message};
}

char DecodeByte(std::string_view digits) {
  unsigned char byte = 0;
  const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), byte, 16);
  if (digits.size() != 2 || error != std::errc() || end != digits.data() + 2) {
    throw BadRequest("bad percent-encoding");
  }
  return static_cast<char>(byte);
}

// Libraries pass bad encodings on as they stand; here they are refused.
std::string Decode(std::string_view encoded) {
  std::string text;
  text.reserve(encoded.size());
  for (std::size_t at = 0; at < encoded.size(); ++at) {
    char c = encoded[at];
    if (c == '%') {
      c = DecodeByte(encoded.substr(at + 1, 2));
      at += 2;
    } else if (c == '+') {
      c = ' ';
    }
    if (c == '\0') {
      throw BadRequest("a NUL byte");
    }
    text += c;
  }
  return text;
}

std::string DecodeValue(const std::string& name, std::string_view encoded) {
  try {
    return Decode(encoded);
  } catch (const Error& error) {
    throw Error(error.type(), error.object(), "",
                std::string(error.what()) + " in the value of field '" + OneLine(name) + "'");
  }
}

std::string DecodeName(std::size_t number, std::string_view encoded) {
  const std::string place = " in the name of field " + std::to_string(number);
  try {
    std::string name = Decode(encoded);
    if (name.empty()) {
      throw BadRequest("nothing");
    }
    return name;
  } catch (const Error& error) {
    throw Error(error.type(), error.object(), "", error.what() + place);
  }
}

}  // namespace

Form Form::Parse(std::string_view body) {
  if (body.size() > kMaxBody) {
    throw BadRequest("more than " + std::to_string(kMaxBody) + " bytes");
  }
  Form form;
  while (!body.empty()) {
    const std::string_view field = body.substr(0, body.find('&'));
    body.remove_prefix(std::min(field.size() + 1, body.size()));
    if (field.empty()) {
      continue;
    }
    const std::size_t equals = std::min(field.find('='), field.size());
    std::string name = DecodeName(form.fields_.size() + 1, field.substr(0, equals));
    std::string value = DecodeValue(name, field.substr(std::min(equals + 1, field.size())));
    if (!form.fields_.emplace(name, std::move(value)).second) {
      throw BadRequest("field '" + OneLine(name) + "' is given twice");
    }
    if (form.fields_.size() > kMaxFields) {
      throw BadRequest("more than " + std::to_string(kMaxFields) + " fields");
    }
  }
  return form;
}

std::string Form::Get(std::string_view name) const {
  const auto found = fields_.find(name);
  return found == fields_.end() ? std::string() : found->second;
}

std::string Form::Require(std::string_view name) const {
  std::string value = Get(name);
  if (value.empty()) {
    throw Error("value", std::string(name), "",
                "field " + std::string(name) + " is missing or empty");
  }
  return value;
}

bool Form::Flag(std::string_view name) const {
  const std::string value = Get(name);
  if (value != "on" && value != "off" && !value.empty()) {
    throw BadValue(std::string(name), value, "on or off");
  }
  return value == "on";
}

}  // namespace panel
