// Addresses: a host is found again in what was made of it, and no user name, password or query of
// an address shows in an error.

#include <arpa/inet.h>

#include <algorithm>

#include "fuzz/fuzz.h"
#include "support/seam.h"
#include "tarvin/tarvin.h"
#include "trel/trel_client.h"
#include "trel/trel_err.h"

namespace {

bool IsIp6(const std::string& text) {
  in6_addr address{};
  return text.find('\0') == std::string::npos && inet_pton(AF_INET6, text.c_str(), &address) == 1;
}

bool IsPlain(std::string_view text) {
  return std::ranges::all_of(text, [](unsigned char c) { return std::isalnum(c) != 0; });
}

void CheckHost(const std::string& host) {
  ALWAYS(test::Ip6(host) == IsIp6(host));
  const auto quoted = tarvin::QuotedIP(host);
  ALWAYS(tarvin::QuotedIP(quoted) == quoted);
  if (!IsIp6(host) && (host.empty() || host.find_first_of("[:/") != std::string::npos)) return;
  for (const std::string scheme : {"", "http://", "https://"}) {
    for (const std::string rest : {"", "/", ":1500", ":1500/panel", "/panel?a=b"}) {
      ALWAYS(tarvin::GetHostName(scheme + quoted + rest) == host);
    }
  }
}

void CheckAddress(const std::string& address) {
  const auto host = tarvin::GetHostName(address);
  const auto after = address.find("://");
  const bool bracketed =
      address.substr(after == std::string::npos ? 0 : after + 3).starts_with('[');
  ALWAYS(address.find(host) != std::string::npos);
  ALWAYS(host.find(bracketed ? ']' : ':') == std::string::npos);
}

/// How the errors of a query name the place that was asked.
std::string PlaceOf(const std::string& address) {
  constexpr std::string_view kWhat = ": answered with status 500";
  try {
    trel_client::Remote(address).Query("func=f");
  } catch (const trel_err::Error& error) {
    ALWAYS(error.type() == "remote" && error.object() == "query");
    ALWAYS(error.value().ends_with(kWhat));
    return error.value().substr(0, error.value().size() - kWhat.size());
  }
  ALWAYS(!"the failure is thrown");
}

void CheckPlace(const std::string& address) {
  const auto place = PlaceOf(address);
  if (place == "(not a URL)") return;
  const auto port = place.substr(place.rfind(':') + 1);
  ALWAYS(port.find_first_not_of("0123456789") == std::string::npos);
  ALWAYS(place.find_first_of("/?#@") == std::string::npos);
  ALWAYS(std::ranges::none_of(place, [](unsigned char c) { return c <= ' '; }));
}

void CheckSecret(const std::string& secret) {
  if (secret.empty() || !IsPlain(secret)) return;
  ALWAYS(PlaceOf("https://" + secret + ":" + secret + "@host.example:1500/" + secret +
                 "?auth=" + secret + "#" + secret) == "host.example:1500");
}

}  // namespace

void fuzz::Try(std::string_view input) {
  static const auto panel = [] {
    auto answers = std::make_shared<support::ScriptedPanel>();
    answers->reply = {500, ""};
    trel_seam::Current().http = answers;
    return answers;
  }();
  panel->posts.clear();
  const std::string text(input);
  CheckHost(text);
  CheckAddress(text);
  CheckPlace(text);
  CheckSecret(text);
}
