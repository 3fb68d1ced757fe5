// Dumps on their way to a server: however they are cut into pieces the same comes out, and
// filtering again changes nothing.

#include "fuzz/fuzz.h"
#include "panel/dbserver/dump_filter.h"
#include "trel/str.h"

namespace {

using panel::dbserver::DumpFilter;

std::string Filtered(const std::unique_ptr<DumpFilter>& filter, std::string_view dump,
                     std::size_t piece) {
  std::string out;
  for (std::size_t at = 0; at < dump.size(); at += piece)
    out += filter->Feed(dump.substr(at, piece));
  return out + filter->End();
}

template <class Make>
std::string CheckPieces(const Make& make, std::string_view dump) {
  const auto whole = Filtered(make(), dump, dump.size() + 1);
  for (const std::size_t piece : {1, 2, 3, 17}) ALWAYS(Filtered(make(), dump, piece) == whole);
  return whole;
}

}  // namespace

void fuzz::Try(std::string_view input) {
  const auto definers = [] { return panel::dbserver::DefinerFilter("`panel`@`localhost`"); };
  const auto defined = CheckPieces(definers, input);
  if (str::Lower(std::string(input)).find("definer") == std::string::npos) ALWAYS(defined == input);

  const auto restriction = [] { return panel::dbserver::RestrictFilter("key1"); };
  const auto restricted = CheckPieces(restriction, input);
  ALWAYS(restricted.starts_with("\\restrict key1\n"));
  if (input.find("restrict ") == std::string_view::npos) ALWAYS(restricted.ends_with(input));
}
