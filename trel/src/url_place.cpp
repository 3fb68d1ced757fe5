#include "url_place.h"

#include <curl/curl.h>

#include <memory>
#include <string_view>

#include "trel/str.h"

namespace trel_seam {
namespace {

using Url = std::unique_ptr<CURLU, decltype(&curl_url_cleanup)>;

std::string PartOf(const Url& url, CURLUPart part) {
  char* text = nullptr;
  if (curl_url_get(url.get(), part, &text, CURLU_DEFAULT_PORT) != CURLUE_OK) return "";
  const std::unique_ptr<char, decltype(&curl_free)> owner(text, curl_free);
  return text;
}

}  // namespace

std::string PlaceOf(const std::string& url) {
  const Url parsed(curl_url(), curl_url_cleanup);
  if (curl_url_set(parsed.get(), CURLUPART_URL, Presentable(url).c_str(), 0) != CURLUE_OK)
    return "(not a URL)";
  return PartOf(parsed, CURLUPART_HOST) + ":" + PartOf(parsed, CURLUPART_PORT);
}

std::string Presentable(const std::string& url) {
  constexpr std::string_view kOdd = "\"#<>\\^`{|}";
  std::string encoded;
  for (const char c : url) {
    const bool plain = c > ' ' && c < '\x7f' && kOdd.find(c) == std::string_view::npos;
    if (plain) {
      encoded += c;
    } else {
      encoded += str::url::Encode(std::string(1, c));
    }
  }
  return encoded;
}

}  // namespace trel_seam
