// Lists and their edit forms: each element is asked for by its own key, holds the form's fields
// afterwards, and gives parameters without those that are left out.

#include "fuzz/fuzz.h"
#include "support/seam.h"
#include "tarvin/tarvin.h"
#include "trel/trel_err.h"

namespace {

using trel_xml::Xml;
using trel_xml::XmlNode;

std::string KeyOf(const XmlNode& element) {
  const auto key = element.FindNode("name");
  return key.GetProp("orig").empty() ? key.Str() : key.GetProp("orig");
}

/// The text of the last child of that name.
std::string LastOf(const XmlNode& node, const std::string& name) {
  std::string text;
  for (auto child = node.FirstChild(); child; child = child.Next()) {
    if (child.IsNode() && child.Name() == name) text = child.Str();
  }
  return text;
}

void CheckMerged(const Xml& form, const XmlNode& element) {
  const auto root = form.GetRoot();
  for (auto field = root.FirstChild(); field; field = field.Next()) {
    if (!field.IsNode() || field.Name() == "metadata" || field.Name() == "messages") continue;
    ALWAYS(element.FindNode(field.Name()));
    if (tarvin::IsMultiselect(form, field.Name())) {
      ALWAYS(LastOf(element, field.Name()) == LastOf(root, field.Name()));
    } else {
      ALWAYS(element.FindNode(field.Name()).Str() == LastOf(root, field.Name()));
    }
  }
}

void CheckParams(const XmlNode& element) {
  for (const bool multi : {false, true}) {
    StringMap params;
    tarvin::FillParamsMap(element, params, "name,server", multi);
    for (const std::string skipped : {"name", "server", "slist", "tparams"}) {
      ALWAYS(params.count(skipped) == 0);
    }
    for (const auto& [name, value] : params) {
      ALWAYS(!value.empty());
      ALWAYS(element.FindNode(name));
      const auto last = LastOf(element, name);
      if (!multi && !last.empty()) ALWAYS(value == last);
    }
  }
}

void CheckQuery(std::string_view query, const std::string& key) {
  ALWAYS(str::GetWord(query, "&") == "func=edit");
  std::string_view elid = str::GetWord(query, "&");
  ALWAYS(str::GetWord(elid, "=") == "elid");
  ALWAYS(fuzz::PercentDecoded(elid) == key);
  ALWAYS(query == "out=devel&auth=key");
}

}  // namespace

/// The list, then the edit form that the panel gives for each element.
void fuzz::Try(std::string_view input) {
  const auto panel = std::make_shared<support::ScriptedPanel>();
  trel_seam::Current().http = panel;
  const auto list_text = Part(input);
  panel->reply.body = std::string(input);
  try {
    const auto list = Xml::Parse(list_text);
    const auto elements = list.GetNodes("/doc/elem");
    std::vector<std::string> keys;
    for (const auto& element : elements) keys.push_back(KeyOf(element));
    tarvin::Detalize("https://src.example/", "key", "edit", "name", elements);
    ALWAYS(panel->posts.size() == keys.size());
    for (std::size_t i = 0; i < keys.size(); ++i) CheckQuery(panel->posts[i].body, keys[i]);
    if (keys.empty()) return;
    const auto form = Xml::Parse(std::string(input));
    for (const auto& element : elements) {
      CheckMerged(form, element);
      CheckParams(element);
    }
  } catch (const trel_err::Error& error) {
    ALWAYS(error.type() == "xml" || error.type() == "remote" || error.object() == "key_missed");
  }
}
