#pragma once

#include <cstddef>
#include <iterator>
#include <memory>
#include <string>
#include <vector>

#include "trel/export.h"

namespace pugi {
struct xml_node_struct;
}

/// XML documents, their nodes, and XPath 1.0.
///
/// Documents, node sets and nodes are light handles: copies share one document, which lives as
/// long as the last of them. No entity but the five predefined ones is ever expanded.
namespace trel_xml {

class Document;

/// `text` as a string of an XPath expression, whatever quotes it holds.
TREL_EXPORT std::string EscapePropValue(const std::string& text);

/// One node of a document: an element or a piece of text. May be missing.
class TREL_EXPORT XmlNode {
 public:
  XmlNode() = default;
  XmlNode(std::shared_ptr<Document> document, pugi::xml_node_struct* node);

  /// True when the node exists.
  explicit operator bool() const { return node_ != nullptr; }
  /// True for an element, false for text, a comment or a missing node.
  bool IsNode() const;
  /// The element's name; empty for text and for a missing node.
  std::string Name() const;
  /// The node's own text, that of child elements left out; empty for a missing node.
  std::string Str() const;
  /// The value of an attribute, empty when it is absent.
  std::string GetProp(const std::string& name) const;
  /// The first child element of that name; missing when there is none.
  XmlNode FindNode(const std::string& name) const;
  /// The first child of any kind, and the node behind this one in the same parent.
  XmlNode FirstChild() const;
  XmlNode Next() const;
  /// The ancestor `levels` up; missing above the root element.
  XmlNode Parent(int levels) const;
  /// Appends a copy of `node`, with all that is in it. REQUIRES: both exist.
  void AppendChild(const XmlNode& node);
  /// Replaces all that is in the element by `text`. REQUIRES: it exists.
  void SetContent(const std::string& text);

 private:
  std::shared_ptr<Document> document_;
  pugi::xml_node_struct* node_ = nullptr;
};

/// The nodes that an expression selected, in document order.
class TREL_EXPORT XPath {
 public:
  class TREL_EXPORT iterator {
   public:
    using iterator_category = std::input_iterator_tag;
    using value_type = XmlNode;
    using difference_type = std::ptrdiff_t;
    using pointer = const XmlNode*;
    using reference = const XmlNode&;

    reference operator*() const { return current_; }
    pointer operator->() const { return &current_; }
    iterator& operator++();
    bool operator==(const iterator& other) const { return index_ == other.index_; }
    bool operator!=(const iterator& other) const { return !(*this == other); }

   private:
    friend class XPath;
    iterator(const XPath* nodes, std::size_t index);
    const XPath* nodes_;
    std::size_t index_;
    XmlNode current_;
  };

  XPath() = default;
  XPath(std::shared_ptr<Document> document, std::vector<pugi::xml_node_struct*> nodes);

  iterator begin() const { return {this, 0}; }
  iterator end() const { return {this, nodes_.size()}; }

 private:
  std::shared_ptr<Document> document_;
  std::vector<pugi::xml_node_struct*> nodes_;
};

/// A document.
class TREL_EXPORT Xml {
 public:
  /// An empty document: no root, every look-up misses.
  Xml();
  /// A handle on a document that exists. REQUIRES: `document` is not null.
  explicit Xml(std::shared_ptr<Document> document);
  /// Parses `text`, which is taken over and not copied.
  /// Throws trel_err::Error "xml" / "parse" with a message that says what is wrong and at which
  /// byte: not well-formed, not UTF-8, a zero byte, a numeric reference to no character, or
  /// anything but comments and white space beside the root.
  static Xml Parse(std::string text);

  /// The first node that `xpath` selects; missing when there is none.
  /// Throws trel_err::Error "xml" / "xpath" for an expression that is none.
  XmlNode GetNode(const std::string& xpath) const;
  /// All nodes that `xpath` selects; throws as GetNode.
  XPath GetNodes(const std::string& xpath) const;
  /// The root element; missing in an empty document.
  XmlNode GetRoot() const;
  /// The document as text; `formatted` puts each element on a line of its own.
  std::string Str(bool formatted) const;

 private:
  std::shared_ptr<Document> document_;
};

}  // namespace trel_xml
