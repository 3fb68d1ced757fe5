// A panel's reply: whatever it holds, both clients give a document or throw what the reply says,
// and the job's small readers cope with it.

#include "fuzz/fuzz.h"
#include "support/seam.h"
#include "tarvin/tarvin_bin.h"
#include "trel/trel_client.h"
#include "trel/trel_err.h"

namespace {

using trel_client::Result;

support::ScriptedPanel& Panel() {
  static const auto panel = std::make_shared<support::ScriptedPanel>();
  trel_seam::Current().http = panel;
  return *panel;
}

/// What `panel` answers; an empty document for an error, which goes to `seen`.
template <class Seen>
Result Ask(const trel_client::Client& panel, const Seen& seen) {
  try {
    return panel.Query("func=f");
  } catch (const trel_err::Error& error) {
    ALWAYS(error.xml().GetNode("/doc/error"));
    ALWAYS(std::string(error.what()).starts_with(error.type()));
    seen(error);
    return Result(trel_xml::Xml());
  }
}

void Walk(const trel_xml::XmlNode& node) {
  ALWAYS(node.IsNode() == !node.Name().empty());
  for (auto child = node.FirstChild(); child; child = child.Next()) {
    if (child.IsNode()) ALWAYS(node.FindNode(child.Name()));
    Walk(child);
  }
}

void CheckDocument(const Result& result) {
  ALWAYS(result.GetRoot().Name() == "doc");
  ALWAYS(!result.GetNode("/doc/error"));
  Walk(result.GetRoot());
  for (const auto& element : result.elems()) ALWAYS(element.Parent(1).Name() == "doc");
  for (const bool formatted : {false, true}) {
    ALWAYS(trel_xml::Xml::Parse(result.Str(formatted)).GetRoot().Name() == "doc");
  }
}

/// Both clients see the same reply: where one gives a document, so does the other.
void CheckClients() {
  std::string local_value;
  std::string remote_value;
  const auto local = Ask(trel_client::Local("vortrel", "fuzz"), [&](const auto& error) {
    local_value = error.type() == "local" && error.object() == "query"
                      ? error.value()
                      : error.xml().GetNode("/doc/error/msg").Str();
  });
  const auto remote = Ask(trel_client::Remote("https://src.example/"), [&](const auto& error) {
    ALWAYS(error.type() == "remote" && error.object() == "query");
    remote_value = error.value();
  });
  ALWAYS(static_cast<bool>(local.GetRoot()) == static_cast<bool>(remote.GetRoot()));
  if (local.GetRoot()) {
    CheckDocument(local);
    ALWAYS(local.Str(false) == remote.Str(false));
  }
}

void CheckReaders() {
  trel_client::Local panel("vortrel", "fuzz");
  try {
    tarvin_bin::TrelOptionSet(panel).Has("option");
    tarvin_bin::CheckLetsencrypt(panel, "local", "");
    auto servers = trel_xml::Xml(panel.Query("func=db.server"));
    tarvin_bin::GetServerNameByType(servers, "mysql");
  } catch (const trel_err::Error&) {
    // Which reply is refused was looked at before.
  }
}

}  // namespace

void fuzz::Try(std::string_view input) {
  auto& panel = Panel();
  panel.posts.clear();
  panel.reply.body = std::string(input);
  CheckClients();
  CheckReaders();
}
