#include "reason.h"

#include <system_error>

namespace trel_seam {

std::string ReasonOf(int error) {
  return LowerFirst(std::generic_category().message(error));
}

std::string LowerFirst(std::string text) {
  if (!text.empty() && text[0] >= 'A' && text[0] <= 'Z')
    text[0] = static_cast<char>(text[0] - 'A' + 'a');
  return text;
}

}  // namespace trel_seam
