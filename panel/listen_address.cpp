#include "panel/listen_address.h"

#include <arpa/inet.h>

#include <charconv>
#include <cstdint>
#include <stdexcept>

namespace panel {
namespace {

bool IsAddress(int family, const std::string& host) {
  in6_addr parsed{};
  return inet_pton(family, host.c_str(), &parsed) == 1;
}

}  // namespace

ListenAddress ListenAddress::Parse(const std::string& text) {
  const std::size_t colon = text.rfind(':');
  if (colon != std::string::npos) {
    std::string host = text.substr(0, colon);
    const bool brackets = host.size() > 2 && host.front() == '[' && host.back() == ']';
    if (brackets) {
      host = host.substr(1, host.size() - 2);
    }
    std::uint16_t port = 0;
    const char* const end = text.data() + text.size();
    const auto parsed = std::from_chars(text.data() + colon + 1, end, port);
    if (IsAddress(brackets ? AF_INET6 : AF_INET, host) && parsed.ec == std::errc() &&
        parsed.ptr == end) {
      return {host, port};
    }
  }
  throw std::invalid_argument("'" + text + "' is not ADDR:PORT or [ADDR6]:PORT");
}

std::string ListenAddress::Str() const {
  const bool v6 = host.find(':') != std::string::npos;
  return (v6 ? "[" + host + "]" : host) + ":" + std::to_string(port);
}

}  // namespace panel
