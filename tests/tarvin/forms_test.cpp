#include <gtest/gtest.h>

#include "tarvin/tarvin.h"

namespace {

bool IsMultiselect(const std::string& name) {
  static const auto form = trel_xml::Xml::Parse(
      "<doc><metadata><form>"
      "<page><field><select type='multiple' name='host'/></field></page>"
      "<select type='multiple' name=\"it's\"/><select type='multiple' name='a&quot;b'/>"
      "<select type='radio' name='plain'/><input type='multiple' name='input'/>"
      "</form></metadata>"
      "<form><select type='multiple' name='outside'/></form></doc>");
  return tarvin::IsMultiselect(form, name);
}

TEST(IsMultiselect, FindsSelectFieldsOfTheFormThatTakeSeveralValues) {
  for (const auto* name : {"host", "it's", "a\"b"}) EXPECT_TRUE(IsMultiselect(name)) << name;
  for (const auto* name : {"plain", "input", "outside", "other", "", "x' or '1'='1"}) {
    EXPECT_FALSE(IsMultiselect(name)) << name;
  }
}

}  // namespace
