// Encodings: decoding gives back what was encoded, and none of them lets a byte through that means
// something where it is put.

#include <sodium.h>

#include <algorithm>

#include "fuzz/fuzz.h"
#include "trel/str.h"
#include "trel/trel_err.h"
#include "trel/trel_proc.h"
#include "trel/trel_xml.h"

namespace {

std::string Base64(const std::string& bytes) {
  std::string text(sodium_base64_ENCODED_LEN(bytes.size(), sodium_base64_VARIANT_ORIGINAL), '\0');
  sodium_bin2base64(text.data(), text.size(), reinterpret_cast<const unsigned char*>(bytes.data()),
                    bytes.size(), sodium_base64_VARIANT_ORIGINAL);
  text.pop_back();
  return text;
}

std::string WithoutBlanks(std::string text) {
  std::erase_if(text, [](char c) {
    return std::string_view(" \t\n\v\f\r").find(c) != std::string_view::npos;
  });
  return text;
}

void CheckBase64(const std::string& text) {
  ALWAYS(str::base64::Decode(Base64(text)) == text);
  try {
    ALWAYS(Base64(str::base64::Decode(text)) == WithoutBlanks(text));
  } catch (const trel_err::Error& error) {
    ALWAYS(error.type() == "base64");
    ALWAYS(std::string(error.what()) == "base64: decode (a value is not valid base64)");
  }
}

void CheckUrl(const std::string& text) {
  const auto encoded = str::url::Encode(text);
  ALWAYS(std::ranges::all_of(encoded, [](unsigned char c) {
    return std::isalnum(c) ||
           std::string_view("-._~%").find(static_cast<char>(c)) != std::string::npos;
  }));
  ALWAYS(fuzz::PercentDecoded(encoded) == text);
}

/// What a shell makes of one word of single-quoted pieces and escaped quotes.
std::string Unquoted(std::string_view word) {
  std::string text;
  while (!word.empty()) {
    if (word.starts_with("\\'")) {
      text += '\'';
      word.remove_prefix(2);
      continue;
    }
    ALWAYS(word.front() == '\'');
    word.remove_prefix(1);
    ALWAYS(word.find('\'') != std::string_view::npos);
    text += str::GetWord(word, "'");
  }
  return text;
}

/// As the text of an element and as a literal of an expression it is the same text.
void CheckXPath(const std::string& text) {
  const auto c_text = text.substr(0, text.find('\0'));
  const auto document = trel_xml::Xml::Parse("<doc><a/></doc>");
  document.GetNode("/doc/a").SetContent(c_text);
  const auto literal = trel_xml::EscapePropValue(c_text);
  ALWAYS(document.GetNode("/doc/a[.=" + literal + "]"));
  ALWAYS(!document.GetNode("/doc/a[.!=" + literal + "]"));
}

}  // namespace

void fuzz::Try(std::string_view input) {
  const std::string text(input);
  CheckBase64(text);
  CheckUrl(text);
  ALWAYS(Unquoted(trel_proc::Escape(text)) == text);
  CheckXPath(text);
}
