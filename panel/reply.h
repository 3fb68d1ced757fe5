#pragma once

#include <pugixml.hpp>
#include <string>
#include <string_view>

#include "panel/error.h"

namespace panel {

/// One answer of the panel: an XML document with the root `doc`.
class Reply {
 public:
  Reply();

  /// Adds an element of that text to the root. REQUIRES: `name` is a valid name of an element.
  void Add(const char* name, std::string_view text) { Add(root(), name, text); }
  /// The same below `parent`, an element of this document; gives the new element.
  static pugi::xml_node Add(pugi::xml_node parent, const char* name, std::string_view text);
  /// Adds what answers a submission: an element `ok`.
  void AddOk() { Add("ok", ""); }
  /// Adds an attribute to an element of this document.
  static void Mark(pugi::xml_node element, const char* name, std::string_view value);
  /// Adds an empty element to the root, to be filled by the caller.
  pugi::xml_node AddElement(const char* name) { return root().append_child(name); }

  /// The document as UTF-8.
  std::string Str() const;

 private:
  pugi::xml_node root() { return document_.document_element(); }

  // Holds texts in their escaped form: pugixml alone would lose carriage returns and blanks.
  pugi::xml_document document_;
};

/// `error` as a document.
Reply ErrorReply(const Error& error);

}  // namespace panel
