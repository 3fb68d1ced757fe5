#include "reason.h"

#include <cctype>
#include <system_error>

namespace trel_seam {

std::string ReasonOf(int error) {
  return LowerFirst(std::generic_category().message(error));
}

std::string LowerFirst(std::string text) {
  const auto is_capital = [&](std::size_t at) {
    return at < text.size() && std::isupper(static_cast<unsigned char>(text[at])) != 0;
  };
  if (is_capital(0) && !is_capital(1))  // "TLS" stays
    text.front() = static_cast<char>(std::tolower(static_cast<unsigned char>(text.front())));
  return text;
}

}  // namespace trel_seam
