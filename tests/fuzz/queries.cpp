// Query templates: an argument is found again as it was, and brings no field of its own along.

#include <algorithm>
#include <list>

#include "fuzz/fuzz.h"
#include "support/seam.h"
#include "tarvin/tarvin.h"
#include "trel/trel_client.h"
#include "trel/trel_err.h"

namespace {

/// The text of the query that `ask` sends, or the error's type.
template <class Ask>
std::string Sent(const Ask& ask) {
  const auto panel = std::make_shared<support::ScriptedPanel>();
  trel_seam::Current().http = panel;
  try {
    ask(trel_client::Remote("https://src.example:1500/"));
  } catch (const trel_err::Error& error) {
    return error.type();
  }
  return panel->posts.at(0).body;
}

/// True when the text is `format` with an argument, as it is encoded, in place of each "?".
bool IsFilled(std::string_view text, std::string_view format, const std::list<std::string>& args) {
  auto arg = args.begin();
  for (const char c : format) {
    if (c == '?' && arg != args.end()) {
      const auto end = std::min(text.find_first_of("&=?#/ +"), text.size());
      const auto encoded = str::url::Encode(*arg++);
      if (end < encoded.size() || !text.starts_with(encoded)) return false;
      text.remove_prefix(encoded.size());
    } else {
      if (text.empty() || text.front() != c) return false;
      text.remove_prefix(1);
    }
  }
  return text.empty();
}

void CheckTemplate(const std::string& format, const std::list<std::string>& args) {
  const auto places = static_cast<std::size_t>(std::ranges::count(format, '?'));
  try {
    ALWAYS(IsFilled(tarvin::SubstParams(format, args), format, args));
    ALWAYS(args.size() <= places);
  } catch (const trel_err::Error& error) {
    ALWAYS(error.object() == "query_args" && args.size() > places);
  }
}

void CheckQuery(const std::string& format, const std::string& a, const std::string& b) {
  const auto query = Sent([&](const auto& panel) { panel.Query(format, a, b); });
  if (std::ranges::count(format, '?') == 2) {
    ALWAYS(query == tarvin::SubstParams(format, a, b));
  } else {
    ALWAYS(query == "assert");
  }
}

void CheckParams(const StringMap& params) {
  const auto query = tarvin::JoinParams(params);
  StringMap found;
  for (std::string_view rest = query; !rest.empty();) {
    std::string_view value = str::GetWord(rest, "&");
    const std::string key(str::GetWord(value, "="));
    ALWAYS(found.emplace(key, fuzz::PercentDecoded(value)).second);
  }
  ALWAYS(found == params);
  ALWAYS(Sent([&](const auto& panel) { panel.Query("func=f", params); }) ==
         (params.empty() ? "func=f" : "func=f&" + query));
}

}  // namespace

/// The template, then the arguments.
void fuzz::Try(std::string_view input) {
  const auto format = Part(input);
  std::list<std::string> args;
  StringMap params;
  while (!input.empty()) {
    args.push_back(Part(input));
    params["k" + std::to_string(args.size())] = args.back();
  }
  CheckTemplate(format, args);
  CheckQuery(format, args.empty() ? "" : args.front(), args.empty() ? "" : args.back());
  CheckParams(params);
}
