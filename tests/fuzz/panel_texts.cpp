// Texts in the reference panel's answers: the platform reads them as they were, and in a line for
// people they stay in it.

#include <algorithm>

#include "fuzz/fuzz.h"
#include "panel/reply.h"
#include "panel/text.h"
#include "trel/trel_xml.h"

void fuzz::Try(std::string_view input) {
  panel::Reply reply;
  reply.Add("text", input);
  panel::Reply::Mark(reply.AddElement("marked"), "mark", input);
  const auto document = trel_xml::Xml::Parse(reply.Str());
  const auto text = document.GetNode("/doc/text").Str();
  const auto mark = document.GetNode("/doc/marked").GetProp("mark");
  if (panel::IsXmlText(input)) {
    ALWAYS(text == input);
    ALWAYS(mark == input);
  }
  ALWAYS(panel::IsXmlText(text));

  const auto line = panel::OneLine(input);
  ALWAYS(std::ranges::none_of(line, [](unsigned char c) { return c < ' ' || c == 0x7F; }));
  ALWAYS(line.size() >= input.size());
}
