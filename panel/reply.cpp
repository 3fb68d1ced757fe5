#include "panel/reply.h"

#include <sstream>

#include "panel/text.h"

namespace panel {

Reply::Reply() {
  pugi::xml_node declaration = document_.append_child(pugi::node_declaration);
  Mark(declaration, "version", "1.0");
  Mark(declaration, "encoding", "UTF-8");
  document_.append_child("doc");
}

pugi::xml_node Reply::Add(pugi::xml_node parent, const char* name, std::string_view text) {
  pugi::xml_node element = parent.append_child(name);
  if (!text.empty()) {
    element.append_child(pugi::node_pcdata).set_value(XmlText(text).c_str());
  }
  return element;
}

void Reply::Mark(pugi::xml_node element, const char* name, std::string_view value) {
  element.append_attribute(name).set_value(XmlAttribute(value).c_str());
}

std::string Reply::Str() const {
  std::ostringstream out;
  document_.save(out, "", pugi::format_raw | pugi::format_no_escapes, pugi::encoding_utf8);
  return out.str();
}

Reply ErrorReply(const Error& error) {
  Reply reply;
  pugi::xml_node element = reply.AddElement("error");
  Reply::Mark(element, "type", error.type());
  Reply::Mark(element, "object", error.object());
  Reply::Add(element, "value", error.value());
  Reply::Add(element, "msg", error.what());
  return reply;
}

}  // namespace panel
