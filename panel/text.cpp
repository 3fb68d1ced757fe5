#include "panel/text.h"

#include <utf8.h>

#include <algorithm>
#include <iterator>

namespace panel {
namespace {

bool XmlCanHold(char32_t c) {
  if (c < 0x20) {
    return c == '\t' || c == '\n' || c == '\r';
  }
  return c != 0xFFFE && c != 0xFFFF;
}

bool IsBlank(char32_t c) {
  return c == ' ' || c == '\t' || c == '\n' || c == '\r';
}

std::string CharacterReference(char32_t c) {
  return "&#" + std::to_string(c) + ";";
}

void AppendXml(std::string& xml, char32_t c) {
  switch (c) {
    case '&':
      xml += "&amp;";
      break;
    case '<':
      xml += "&lt;";
      break;
    case '>':
      xml += "&gt;";
      break;
    case '"':
      xml += "&quot;";
      break;
    case '\r':  // a parser makes a line feed of a bare one
      xml += CharacterReference(c);
      break;
    default:
      utf8::append(XmlCanHold(c) ? c : U'\uFFFD', std::back_inserter(xml));
  }
}

void AppendHex(std::string& line, unsigned char byte) {
  static const char kDigits[] = "0123456789abcdef";
  line += "\\x";
  line += kDigits[byte >> 4];
  line += kDigits[byte & 15];
}

void AppendEscaped(std::string& line, unsigned char byte) {
  switch (byte) {
    case '\n':
      line += "\\n";
      break;
    case '\r':
      line += "\\r";
      break;
    case '\t':
      line += "\\t";
      break;
    case '\\':
    case '"':
      line += '\\';
      line += static_cast<char>(byte);
      break;
    default:
      if (byte < 0x20 || byte == 0x7f) {
        AppendHex(line, byte);
      } else {
        line += static_cast<char>(byte);
      }
  }
}

}  // namespace

bool IsXmlText(std::string_view text) {
  if (!utf8::is_valid(text.begin(), text.end())) {
    return false;
  }
  for (auto at = text.begin(); at != text.end();) {
    if (!XmlCanHold(utf8::next(at, text.end()))) {
      return false;
    }
  }
  return true;
}

std::string XmlText(std::string_view text) {
  std::string valid;
  utf8::replace_invalid(text.begin(), text.end(), std::back_inserter(valid));
  std::string xml;
  auto at = valid.cbegin();
  // Parsers drop text that is nothing but blanks, unless it begins with a reference.
  if (!valid.empty() && std::all_of(valid.begin(), valid.end(), IsBlank)) {
    xml += CharacterReference(utf8::next(at, valid.cend()));
  }
  while (at != valid.cend()) {
    AppendXml(xml, utf8::next(at, valid.cend()));
  }
  return xml;
}

std::string XmlAttribute(std::string_view text) {
  std::string xml;
  for (const char c : XmlText(text)) {
    if (c == '\t' || c == '\n') {  // a parser makes a blank of a bare one
      xml += CharacterReference(static_cast<char32_t>(c));
    } else {
      xml += c;
    }
  }
  return xml;
}

std::string OneLine(std::string_view text) {
  std::string line;
  auto at = text.begin();
  while (at != text.end()) {
    const auto invalid = utf8::find_invalid(at, text.end());
    std::for_each(at, invalid, [&](char c) { AppendEscaped(line, static_cast<unsigned char>(c)); });
    at = invalid;
    if (at != text.end()) {
      AppendHex(line, static_cast<unsigned char>(*at++));
    }
  }
  return line;
}

}  // namespace panel
