#pragma once

#include <string>

namespace trel_seam {

/// The system's word for the error number `error`, to stand behind a colon: "connection refused".
std::string ReasonOf(int error);
/// A library's message, to stand behind a colon.
std::string LowerFirst(std::string text);

}  // namespace trel_seam
