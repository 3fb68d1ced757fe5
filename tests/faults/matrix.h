#pragma once

#include <string>
#include <vector>

#include "faults/cell.h"
#include "faults/fault.h"

namespace faults {

/// One cell of the matrix, when it was run.
struct Entry {
  Scenario scenario;
  Call call;          ///< the one that met the fault
  std::string fault;  ///< its name
  Result result;
};

/// A migration without faults.
struct Smooth {
  Scenario scenario;
  Result result;
};

struct Matrix {
  std::vector<Smooth> smooth;
  std::vector<Entry> entries;
};

/// Runs every migration, first without faults and then each of its calls with each fault that the
/// call can meet. Runs once in a process; later calls return the same.
const Matrix& TheMatrix();

}  // namespace faults
