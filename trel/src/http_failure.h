#pragma once

#include <curl/curl.h>

#include <string>

namespace trel_seam {

/// What happened to the transfer on `handle` that ended with `code`, in plain words. `details` is
/// libcurl's own account; `timeout` the limit in seconds that the caller set, 0 for none.
std::string DescribeFailure(CURL* handle, CURLcode code, const std::string& details, int timeout);

/// The time that making a connection may take, in seconds.
constexpr int kConnectTimeout = 20;

}  // namespace trel_seam
