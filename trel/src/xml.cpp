#include "trel/trel_xml.h"

#include <utf8.h>

#include <cstring>
#include <sstream>

#include "trel/trel_err.h"
#include "xml_document.h"

namespace trel_xml {
namespace {

/// White space that is an element's whole content is content: a form field may hold one blank.
constexpr unsigned kParse = pugi::parse_default | pugi::parse_ws_pcdata_single;

[[noreturn]] void Refuse(const std::string& why, std::ptrdiff_t at) {
  throw trel_err::Error("xml", "parse", "",
                        "not an XML document: " + why + " at byte " + std::to_string(at));
}

/// Where `text` refers to the character of code zero, which would cut every text after it short.
std::size_t FindZeroReference(const std::string& text) {
  for (auto at = text.find("&#"); at != std::string::npos; at = text.find("&#", at + 2)) {
    auto digits = at + 2;
    if (digits < text.size() && (text[digits] | 0x20) == 'x') ++digits;
    const auto end = text.find_first_not_of('0', digits);
    if (end != digits && end != std::string::npos && text[end] == ';') return at;
  }
  return std::string::npos;
}

/// What the parser lets pass although it is no XML, or would be read as something else.
void CheckBytes(const std::string& text) {
  const auto valid = utf8::find_invalid(text.begin(), text.end());
  if (valid != text.end()) Refuse("not UTF-8", valid - text.begin());
  auto zero = text.find('\0');
  if (zero == std::string::npos) zero = FindZeroReference(text);
  if (zero != std::string::npos) Refuse("a zero byte", static_cast<std::ptrdiff_t>(zero));
}

void CheckRoot(const pugi::xml_document& tree) {
  const auto root = tree.document_element();
  for (auto node = tree.first_child(); node; node = node.next_sibling()) {
    const bool second = node.type() == pugi::node_element && node != root;
    if (second || node.type() == pugi::node_pcdata || node.type() == pugi::node_cdata) {
      Refuse("something beside the root", node.offset_debug());
    }
  }
}

}  // namespace

XmlNode::XmlNode(std::shared_ptr<Document> document, pugi::xml_node_struct* node)
    : document_(std::move(document)), node_(node) {}

bool XmlNode::IsNode() const {
  return pugi::xml_node(node_).type() == pugi::node_element;
}

std::string XmlNode::Name() const {
  return pugi::xml_node(node_).name();
}

std::string XmlNode::Str() const {
  const pugi::xml_node node(node_);
  std::string text = node.type() == pugi::node_element ? "" : node.value();
  for (const auto child : node.children()) {
    if (child.type() == pugi::node_pcdata || child.type() == pugi::node_cdata) {
      text += child.value();
    }
  }
  return text;
}

std::string XmlNode::GetProp(const std::string& name) const {
  return pugi::xml_node(node_).attribute(name.c_str()).value();
}

XmlNode XmlNode::FindNode(const std::string& name) const {
  return {document_, pugi::xml_node(node_).child(name.c_str()).internal_object()};
}

XPath::XPath(std::shared_ptr<Document> document, std::vector<pugi::xml_node_struct*> nodes)
    : document_(std::move(document)), nodes_(std::move(nodes)) {}

XPath::iterator::iterator(const XPath* nodes, std::size_t index) : nodes_(nodes), index_(index) {
  if (index_ < nodes_->nodes_.size()) current_ = {nodes_->document_, nodes_->nodes_[index_]};
}

XPath::iterator& XPath::iterator::operator++() {
  *this = iterator(nodes_, index_ + 1);
  return *this;
}

Xml::Xml() : document_(std::make_shared<Document>()) {}

Xml::Xml(std::shared_ptr<Document> document) : document_(std::move(document)) {}

Xml Xml::Parse(std::string text) {
  CheckBytes(text);
  auto document = std::make_shared<Document>();
  document->text = std::move(text);
  const auto parsed = document->tree.load_buffer_inplace(
      document->text.data(), document->text.size(), kParse, pugi::encoding_utf8);
  if (!parsed) Refuse(parsed.description(), parsed.offset);
  CheckRoot(document->tree);
  return Xml(document);
}

XmlNode Xml::GetNode(const std::string& xpath) const {
  for (const auto& node : GetNodes(xpath)) return node;
  return {};
}

XPath Xml::GetNodes(const std::string& xpath) const {
  try {
    auto found = document_->tree.select_nodes(xpath.c_str());
    found.sort();
    std::vector<pugi::xml_node_struct*> nodes;
    nodes.reserve(found.size());
    for (const auto& item : found) {
      if (item.node()) nodes.push_back(item.node().internal_object());
    }
    return {document_, std::move(nodes)};
  } catch (const pugi::xpath_exception& error) {
    throw trel_err::Error("xml", "xpath", xpath, error.what());
  }
}

XmlNode Xml::GetRoot() const {
  return {document_, document_->tree.document_element().internal_object()};
}

std::string Xml::Str(bool formatted) const {
  std::ostringstream text;
  const unsigned layout = formatted ? pugi::format_indent : pugi::format_raw;
  document_->tree.save(text, "  ", layout | pugi::format_no_declaration, pugi::encoding_utf8);
  return text.str();
}

}  // namespace trel_xml
