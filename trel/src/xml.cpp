#include "trel/trel_xml.h"

#include <utf8.h>

#include <charconv>
#include <cstdint>
#include <cstring>
#include <string_view>

#include "trel/trel_err.h"
#include "xml_document.h"

namespace trel_xml {
namespace {

/// White space that is an element's whole content is content: a form field may hold one blank.
/// Without "fragment" the parser would pass over what stands beside the root, and we could not
/// refuse it.
constexpr unsigned kParse =
    pugi::parse_default | pugi::parse_ws_pcdata_single | pugi::parse_fragment;

[[noreturn]] void Refuse(const std::string& why, std::size_t at) {
  throw trel_err::Error("xml", "parse", "",
                        "not an XML document: " + why + " at byte " + std::to_string(at));
}

/// True for the digits of a reference, such as "65" or "x41", to a character that there is; true
/// also for what is no number, which the parser leaves as it stands.
bool MayRefer(std::string_view digits) {
  const bool hexadecimal = digits.substr(0, 1) == "x";
  if (hexadecimal) digits.remove_prefix(1);
  unsigned code = 0;
  const auto* const last = digits.data() + digits.size();
  const auto [end, error] = std::from_chars(digits.data(), last, code, hexadecimal ? 16 : 10);
  if (error == std::errc::invalid_argument || end != last) return true;
  const bool half = code >= 0xD800 && code <= 0xDFFF;
  return error == std::errc() && code != 0 && code <= 0x10FFFF && !half;
}

/// The parser takes every number for a character: zero, also one that wraps around to it, would cut
/// the text short, and others would make it something that is not UTF-8.
void CheckReferences(std::string_view text) {
  for (auto at = text.find("&#"); at != text.npos; at = text.find("&#", at + 2)) {
    const auto digits = text.substr(at + 2, text.find_first_of(";&<", at + 2) - at - 2);
    if (!MayRefer(digits)) Refuse("a reference to no character", at);
  }
}

/// The length of a beginning that is ASCII alone, looked for eight bytes at a time.
std::ptrdiff_t AsciiLength(std::string_view text) {
  constexpr std::uint64_t kHighBits = 0x8080808080808080;
  std::size_t at = 0;
  for (std::uint64_t eight = 0; at + sizeof eight <= text.size(); at += sizeof eight) {
    std::memcpy(&eight, text.data() + at, sizeof eight);
    if ((eight & kHighBits) != 0) break;
  }
  return static_cast<std::ptrdiff_t>(at);
}

/// What the parser lets pass although it is no XML, or would be read as something else.
void CheckBytes(const std::string& text) {
  const auto valid = utf8::find_invalid(text.begin() + AsciiLength(text), text.end());
  if (valid != text.end()) Refuse("not UTF-8", static_cast<std::size_t>(valid - text.begin()));
  const auto zero = text.find('\0');
  if (zero != text.npos) Refuse("a zero byte", zero);
  CheckReferences(text);
}

void CheckRoot(const pugi::xml_document& tree, std::size_t size) {
  const auto root = tree.document_element();
  if (!root) Refuse("No document element found", size);
  for (const auto node : tree.children()) {
    const bool second = node.type() == pugi::node_element && node != root;
    if (second || node.type() == pugi::node_pcdata || node.type() == pugi::node_cdata) {
      Refuse("something beside the root", static_cast<std::size_t>(node.offset_debug()));
    }
  }
}

struct Appender : pugi::xml_writer {
  void write(const void* data, std::size_t size) override {
    text.append(static_cast<const char*>(data), size);
  }
  std::string text;
};

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

XmlNode XmlNode::FirstChild() const {
  return {document_, pugi::xml_node(node_).first_child().internal_object()};
}

XmlNode XmlNode::Next() const {
  return {document_, pugi::xml_node(node_).next_sibling().internal_object()};
}

XmlNode XmlNode::Parent(int levels) const {
  pugi::xml_node node(node_);
  for (int level = 0; level < levels; ++level) node = node.parent();
  // The document, which holds the root element, is no node of its own.
  return node.type() == pugi::node_document ? XmlNode()
                                            : XmlNode(document_, node.internal_object());
}

void XmlNode::AppendChild(const XmlNode& node) {
  pugi::xml_node(node_).append_copy(pugi::xml_node(node.node_));
}

void XmlNode::SetContent(const std::string& text) {
  pugi::xml_node node(node_);
  node.remove_children();
  node.append_child(pugi::node_pcdata).set_value(text.c_str());
}

std::string EscapePropValue(const std::string& text) {
  if (text.find('\'') == std::string::npos) return "'" + text + "'";
  if (text.find('"') == std::string::npos) return '"' + text + '"';
  // Cut at a quote near the middle: the library limits how deep an expression is, and a list of
  // arguments counts as being as deep as it is long.
  auto middle = text.find_first_of("'\"", text.size() / 2);
  if (middle == std::string::npos) middle = text.find_last_of("'\"");
  return "concat(" + EscapePropValue(text.substr(0, middle)) + ',' +
         EscapePropValue(text.substr(middle)) + ')';
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
  if (!parsed) Refuse(parsed.description(), static_cast<std::size_t>(parsed.offset));
  CheckRoot(document->tree, document->text.size());
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
  Appender appender;
  const unsigned layout = formatted ? pugi::format_indent : pugi::format_raw;
  document_->tree.save(appender, "  ", layout | pugi::format_no_declaration, pugi::encoding_utf8);
  return std::move(appender.text);
}

}  // namespace trel_xml
