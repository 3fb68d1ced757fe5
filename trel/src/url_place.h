#pragma once

#include <string>

namespace trel_seam {

/// Where `url` leads, for people: "host:port", with the scheme's own port when none is given.
/// Nothing else of the URL is in it, no login and no query. For a text that is no URL it is
/// "(not a URL)".
std::string PlaceOf(const std::string& url);

/// `url` with every byte percent-encoded that may not stand in a URL, and "#", which would end the
/// query: a caller's query can hold a name as it is. What is encoded already stays as it is.
std::string Presentable(const std::string& url);

}  // namespace trel_seam
