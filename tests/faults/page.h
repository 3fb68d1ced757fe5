#pragma once

#include <string>

#include "faults/matrix.h"

namespace faults {

/// The tables of the page on reliability, as the run gives them: each interaction, its faults, and
/// what came of them.
std::string MakeTables(const Matrix& matrix);

/// The page with `tables` in place of those that it has. Throws std::runtime_error for a page
/// without the line behind which they stand.
std::string ReplaceTables(const std::string& page, const std::string& tables);

}  // namespace faults
