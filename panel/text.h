#pragma once

#include <string>
#include <string_view>

namespace panel {

/// True when an XML document can hold `text` unchanged: UTF-8 without control characters other than
/// tab, line feed and carriage return.
bool IsXmlText(std::string_view text);

/// `text` as character data of an XML document, so that a parser gives `text` back byte for byte.
/// What XML cannot hold becomes U+FFFD.
std::string XmlText(std::string_view text);

/// The same as the value of an attribute.
std::string XmlAttribute(std::string_view text);

/// `text` for a line that is shown to people: backslash, double quote and control characters are
/// written as escapes of C, and bytes that are not UTF-8 as \xNN.
std::string OneLine(std::string_view text);

}  // namespace panel
