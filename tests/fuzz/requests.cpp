// What the reference panel reads of a request: the fields are those that were sent, each once, and
// a refusal shows no value.

#include "fuzz/fuzz.h"
#include "panel/dump_query.h"
#include "panel/error.h"
#include "panel/form.h"
#include "trel/str.h"

namespace {

using panel::Form;

std::string Encoded(const panel::Fields& fields) {
  std::string body;
  for (const auto& [name, value] : fields) {
    str::Append(body, str::url::Encode(name) + "=" + str::url::Encode(value), "&");
  }
  return body;
}

void CheckForm(std::string_view body) {
  try {
    const auto form = Form::Parse(body);
    ALWAYS(form.fields().count("") == 0);
    ALWAYS(form.fields().size() <= panel::kMaxFields);
    ALWAYS(Form::Parse(Encoded(form.fields())).fields() == form.fields());
  } catch (const panel::Error& error) {
    ALWAYS(error.type() == "request" && error.object() == "body" && error.value().empty());
    ALWAYS(std::string_view(error.what()).find('\n') == std::string_view::npos);
  }
}

void CheckTarget(panel::Generation generation, std::string_view target) {
  const panel::Role role{.side = panel::Side::kSource, .generation = generation};
  try {
    const auto query = panel::DumpQuery::Parse(role, target);
    if (!query) return;
    ALWAYS(!query->form.Has("elid"));
    ALWAYS(!query->readings.empty() && !query->readings.front().empty());
    ALWAYS(target.find("elid=" + query->readings.front()) != std::string_view::npos);
  } catch (const panel::Error& error) {
    ALWAYS(error.type() == "request" || error.object() == "elid");
  }
}

}  // namespace

/// A body, which is tried as the path and query of a URL too.
void fuzz::Try(std::string_view input) {
  CheckForm(input);
  for (const auto generation : {panel::Generation::k4, panel::Generation::k5}) {
    CheckTarget(generation, input);
    CheckTarget(generation, "/zelcgi/dbdownload?" + std::string(input));
    CheckTarget(generation, "/?func=db.dump&elid=" + std::string(input));
  }
}
