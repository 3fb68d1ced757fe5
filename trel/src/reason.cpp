#include "reason.h"

#include <system_error>

namespace trel_seam {

std::string ReasonOf(int error) {
  return LowerFirst(std::generic_category().message(error));
}

std::string LowerFirst(std::string text) {
  const auto is = [&](std::size_t at, char first, char last) {
    return at < text.size() && text[at] >= first && text[at] <= last;
  };
  if (is(0, 'A', 'Z') && !is(1, 'A', 'Z'))  // "TLS" stays
    text[0] = static_cast<char>(text[0] - 'A' + 'a');
  return text;
}

}  // namespace trel_seam
