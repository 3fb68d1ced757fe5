#pragma once

#include <string>

namespace panel {

/// A TCP address to listen on.
struct ListenAddress {
  std::string host;  ///< an IPv4 or IPv6 address, without brackets
  int port = 0;      ///< 0: any free one

  /// Reads `ADDR:PORT` or `[ADDR6]:PORT`. Throws std::invalid_argument for anything else.
  static ListenAddress Parse(const std::string& text);
  /// The form that Parse reads.
  std::string Str() const;
};

}  // namespace panel
