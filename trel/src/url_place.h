#pragma once

#include <string>

namespace trel_seam {

/// Where `url` leads, for people: "host:port", with the scheme's own port when none is given.
/// Nothing else of the URL is in it, no login and no query. For a text that is no URL it is
/// "(not a URL)".
std::string PlaceOf(const std::string& url);

}  // namespace trel_seam
