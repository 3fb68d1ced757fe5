#pragma once

#include <string>
#include <vector>

#include "panel/function.h"

namespace panel::functions {

/// A field of a form, as the form is described to programs.
struct FieldDescription {
  enum class Kind {
    kText,
    kSwitch,
    kSelect,    ///< one of several values
    kMultiple,  ///< any of several values: the form has an element of that name for each
  };

  std::string name;
  Kind kind = Kind::kText;
  std::vector<std::string> choices = {};  ///< of a select
};

/// With out=devel: adds to a form's values what the form looks like, the choices of its selects and
/// the fields of the query, but never the session key.
void DescribeForm(const Context& context, const std::vector<FieldDescription>& fields,
                  Reply& reply);

}  // namespace panel::functions
