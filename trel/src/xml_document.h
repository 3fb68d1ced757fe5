#pragma once

#include <memory>
#include <pugixml.hpp>
#include <string>

#include "trel/str.h"

namespace trel_xml {

/// A parsed document together with the text that its tree points into.
class Document {
 public:
  std::string text;
  pugi::xml_document tree;
};

}  // namespace trel_xml
