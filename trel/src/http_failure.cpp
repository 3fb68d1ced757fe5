#include "http_failure.h"

#include <algorithm>

#include "reason.h"

namespace trel_seam {
namespace {

/// The operating system's reason, or libcurl's details where it has none.
std::string Reason(CURL* handle, const std::string& details) {
  long error{};
  curl_easy_getinfo(handle, CURLINFO_OS_ERRNO, &error);
  return error != 0 ? ReasonOf(static_cast<int>(error)) : LowerFirst(details);
}

/// The reason alone, without the prefix that libcurl puts before what is wrong with a certificate.
std::string WithoutPrefix(std::string details) {
  for (const std::string prefix : {"SSL certificate problem: ", "SSL: "}) {
    if (details.starts_with(prefix)) details.erase(0, prefix.size());
  }
  return LowerFirst(details);
}

bool Passed(CURL* handle, CURLINFO milestone) {
  curl_off_t time{};
  curl_easy_getinfo(handle, milestone, &time);
  return time > 0;
}

std::string DescribeTimeout(CURL* handle, int timeout) {
  const auto within = [](int seconds) { return " within " + std::to_string(seconds) + " s"; };
  if (Passed(handle, CURLINFO_STARTTRANSFER_TIME_T))
    return "the answer was not complete" + within(timeout);
  if (Passed(handle, CURLINFO_PRETRANSFER_TIME_T)) return "no answer" + within(timeout);
  return "no connection" +
         within(timeout > 0 ? std::min(timeout, kConnectTimeout) : kConnectTimeout);
}

}  // namespace

std::string DescribeFailure(CURL* handle, CURLcode code, const std::string& details, int timeout) {
  switch (code) {
    case CURLE_COULDNT_RESOLVE_HOST:
      return "the host name cannot be resolved";
    case CURLE_COULDNT_CONNECT:
      return Reason(handle, details);
    case CURLE_OPERATION_TIMEDOUT:
      return DescribeTimeout(handle, timeout);
    case CURLE_GOT_NOTHING:
      return "the connection was closed without an answer";
    case CURLE_SEND_ERROR:
    case CURLE_RECV_ERROR:
      return "the exchange broke off: " + Reason(handle, details);
    case CURLE_PARTIAL_FILE:
      return "the answer was cut off";
    case CURLE_PEER_FAILED_VERIFICATION:
      return "the certificate could not be verified: " + WithoutPrefix(details);
    case CURLE_SSL_PINNEDPUBKEYNOTMATCH:
      return "the certificate's key is not the pinned one";
    case CURLE_UNSUPPORTED_PROTOCOL:
      return "the answer is not HTTP";
    default:
      return LowerFirst(details.empty() ? curl_easy_strerror(code) : details);
  }
}

}  // namespace trel_seam
