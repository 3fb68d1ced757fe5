// The form of the shell switch of generation 4: it is sent back field by field, each with its own
// text, the shell left out; and the shell is turned off again only where it was turned on.

#include "fuzz/fuzz.h"
#include "support/seam.h"
#include "tarvin/tarvin_bin.h"
#include "trel/trel_err.h"
#include "trel/trel_xml.h"

namespace {

constexpr char kAuth[] = "&auth=key";

/// The query that submits the form.
std::string Submission(const trel_xml::Xml& form, const std::string& shell) {
  std::string query = "func=user.edit&sok=ok&shell=" + shell;
  for (auto field = form.GetRoot().FirstChild(); field; field = field.Next()) {
    if (!field.IsNode() || field.Name() == "shell") continue;
    query += "&" + field.Name() + "=" + str::url::Encode(field.Str());
  }
  return query + kAuth;
}

/// No name or text of a field brings another field along.
void CheckFields(const trel_xml::Xml& form, std::string_view query) {
  str::GetWord(query, "&shell=on");
  str::GetWord(query, "&");
  for (auto field = form.GetRoot().FirstChild(); field; field = field.Next()) {
    if (!field.IsNode() || field.Name() == "shell") continue;
    std::string_view value = str::GetWord(query, "&");
    ALWAYS(str::GetWord(value, "=") == field.Name());
    ALWAYS(fuzz::PercentDecoded(value) == field.Str());
  }
  ALWAYS(query == "auth=key");
}

bool IsOn(const trel_xml::Xml& form) {
  for (auto field = form.GetRoot().FirstChild(); field; field = field.Next()) {
    if (field.Name() == "shell" && field.Str() == "on") return true;
  }
  return false;
}

}  // namespace

void fuzz::Try(std::string_view input) {
  const auto panel = std::make_shared<support::ScriptedPanel>();
  trel_seam::Current().http = panel;
  panel->reply.body = std::string(input);
  StringMap params{{"username", "user1"}, {"url", "https://src.example/"}, {"root_auth", "key"}};
  try {
    const tarvin_bin::RemoteShellSwitch4 shell(params);
  } catch (const trel_err::Error& error) {
    ALWAYS(error.type() == "remote");
    ALWAYS(panel->posts.size() == 1);
    return;
  }
  const auto form = trel_xml::Xml::Parse(std::string(input));
  if (IsOn(form)) {
    ALWAYS(panel->posts.size() == 1);
    return;
  }
  ALWAYS(panel->posts.size() == 4);
  ALWAYS(panel->posts[1].body == Submission(form, "on"));
  ALWAYS(panel->posts[3].body == Submission(form, "off"));
  CheckFields(form, panel->posts[1].body);
}
