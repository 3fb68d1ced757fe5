#include "trel/str.h"

#include <arpa/inet.h>
#include <sodium.h>

#include <algorithm>
#include <array>
#include <charconv>

#include "seam/seam.h"
#include "trel/trel_err.h"

namespace str {
namespace {

constexpr std::string_view kBlanks = " \t\n\v\f\r";

std::string_view Trimmed(std::string_view text) {
  const auto first = text.find_first_not_of(kBlanks);
  if (first == std::string_view::npos) return {};
  return text.substr(first, text.find_last_not_of(kBlanks) - first + 1);
}

/// Cuts through `cut` on a view, and moves what is left only once.
template <class Cut>
std::string CutFront(std::string& text, Cut cut) {
  std::string_view rest = text;
  std::string word(cut(rest));
  text.erase(0, text.size() - rest.size());
  return word;
}

}  // namespace

std::string_view GetWord(std::string_view& text, std::string_view separator) {
  const auto end = text.find(separator);
  const auto word = text.substr(0, end);
  text.remove_prefix(end == std::string_view::npos ? text.size() : end + separator.size());
  return word;
}

std::string GetWord(std::string& text, char separator) {
  return CutFront(text, [&](auto& rest) { return GetWord(rest, {&separator, 1}); });
}

std::string GetWord(std::string& text, const std::string& separator) {
  return CutFront(text, [&](auto& rest) { return GetWord(rest, separator); });
}

std::string GetWord(std::string& text) {
  return CutFront(text, [](std::string_view& rest) {
    rest.remove_prefix(std::min(rest.find_first_not_of(kBlanks), rest.size()));
    const auto end = rest.find_first_of(kBlanks);
    const auto word = rest.substr(0, end);
    rest.remove_prefix(std::min(word.size() + 1, rest.size()));
    return word;
  });
}

std::string Trim(const std::string& text) {
  return std::string(Trimmed(text));
}

std::string Lower(const std::string& text) {
  std::string lower = text;
  for (char& c : lower) {
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
  }
  return lower;
}

int Int(const std::string& text) {
  const std::string_view digits = Trimmed(text);
  int number = 0;
  const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), number);
  return error == std::errc() && end == digits.data() + digits.size() ? number : 0;
}

std::string Str(int number) {
  return std::to_string(number);
}

std::string Join(const std::vector<std::string>& items, const std::string& separator) {
  std::string text;
  for (const auto& item : items) {
    if (&item != &items.front()) text += separator;
    text += item;
  }
  return text;
}

std::set<std::string> Split(const std::string& text, const std::string& separator) {
  std::set<std::string> items;
  std::string_view rest = text;
  while (!rest.empty()) items.emplace(GetWord(rest, separator));
  return items;
}

void Append(std::string& text, const std::string& item, const std::string& separator) {
  if (!text.empty()) text += separator;
  text += item;
}

std::string Random(std::size_t count) {
  return trel_seam::Current().host->Random(count);
}

std::string url::Encode(const std::string& text) {
  constexpr std::string_view kPlain =
      "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-._~";
  constexpr auto kIsPlain = [=] {
    std::array<bool, 256> plain{};
    for (const unsigned char byte : kPlain) plain[byte] = true;
    return plain;
  }();
  constexpr char kDigits[] = "0123456789ABCDEF";
  std::string encoded;
  for (const char c : text) {
    const auto byte = static_cast<unsigned char>(c);
    if (kIsPlain[byte]) {
      encoded += c;
    } else {
      encoded += {'%', kDigits[byte >> 4], kDigits[byte & 15]};
    }
  }
  return encoded;
}

std::string hex::Encode(const std::string& bytes) {
  std::string digits;
  digits.resize(bytes.size() * 2 + 1);
  sodium_bin2hex(digits.data(), digits.size(), reinterpret_cast<const unsigned char*>(bytes.data()),
                 bytes.size());
  digits.pop_back();
  return digits;
}

std::string base64::Decode(const std::string& text) {
  std::string bytes(text.size(), '\0');  // more than it takes
  std::size_t size = 0;
  // The library passes over zero bytes as if they were among the blanks, and takes bytes beyond
  // ASCII for digits.
  const bool ascii = std::ranges::all_of(text, [](char c) { return c > '\0'; });
  if (!ascii || sodium_base642bin(reinterpret_cast<unsigned char*>(bytes.data()), bytes.size(),
                                  text.data(), text.size(), kBlanks.data(), &size, nullptr,
                                  sodium_base64_VARIANT_ORIGINAL) != 0) {
    sodium_memzero(bytes.data(), bytes.size());
    throw trel_err::Error("base64", "decode", "", "a value is not valid base64");
  }
  bytes.resize(size);
  return bytes;
}

}  // namespace str

bool test::Ip6(const std::string& text) {
  in6_addr address{};
  // A zero byte would end the text for the library, whatever follows it.
  return text.find('\0') == std::string::npos && inet_pton(AF_INET6, text.c_str(), &address) == 1;
}
