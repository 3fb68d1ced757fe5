#pragma once

#include <cstddef>
#include <map>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "trel/export.h"

/// Ordered map from text to text; key order is byte order.
using StringMap = std::map<std::string, std::string>;

/// String routines. All of them work on bytes and know ASCII alone: blanks are the six ASCII white
/// spaces, and only A to Z have a lower case.
namespace str {

/// Cuts the text before the first `separator` off `text`, and the separator with it.
/// Without a separator the whole text is taken and `text` ends empty.
/// Each cut moves what is left of `text`; a long text is cut in linear time through the view form.
TREL_EXPORT std::string GetWord(std::string& text, char separator);
/// The same with a separator of several bytes. REQUIRES: `separator` is not empty.
TREL_EXPORT std::string GetWord(std::string& text, const std::string& separator);
/// Cuts the first word off `text`: leading blanks are dropped, the word ends before the next blank,
/// which is dropped too. Empty when `text` holds blanks alone.
TREL_EXPORT std::string GetWord(std::string& text);
/// Cuts a view, without copying or moving a byte.
TREL_EXPORT std::string_view GetWord(std::string_view& text, std::string_view separator);

/// `text` without leading and trailing blanks.
TREL_EXPORT std::string Trim(const std::string& text);
/// `text` with A to Z in lower case.
TREL_EXPORT std::string Lower(const std::string& text);
/// The decimal number that `text` is, blanks around it allowed; 0 when it is none or does not fit.
TREL_EXPORT int Int(const std::string& text);
/// `number` in decimal.
TREL_EXPORT std::string Str(int number);
/// The items of `items` with `separator` between them.
TREL_EXPORT std::string Join(const std::vector<std::string>& items, const std::string& separator);
/// The different items between the `separator`s of `text`, in order; none of an empty text.
TREL_EXPORT std::set<std::string> Split(const std::string& text, const std::string& separator);
/// Appends `item` to `text`, with `separator` between them only when `text` is not empty.
TREL_EXPORT void Append(std::string& text, const std::string& item, const std::string& separator);
/// `count` bytes of the system's random source.
TREL_EXPORT std::string Random(std::size_t count);

namespace url {
/// Percent-encodes every byte but letters, digits and `-._~`, with capital hexadecimal digits.
TREL_EXPORT std::string Encode(const std::string& text);
}  // namespace url

namespace hex {
/// Two lower-case hexadecimal digits for each byte.
TREL_EXPORT std::string Encode(const std::string& bytes);
}  // namespace hex

namespace base64 {
/// The bytes behind a base64 text (standard alphabet, padded); blanks in it are passed over.
/// Throws trel_err::Error "base64" / "decode" for anything else; the error does not show the text.
TREL_EXPORT std::string Decode(const std::string& text);
}  // namespace base64

}  // namespace str

namespace test {
/// True when `text` is an IPv6 address, without brackets, zone or port.
TREL_EXPORT bool Ip6(const std::string& text);
}  // namespace test
