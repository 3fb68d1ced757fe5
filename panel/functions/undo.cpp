#include "panel/functions/undo.h"

#include <exception>

namespace panel::functions {

Undo::~Undo() {
  for (auto step = steps_.rbegin(); step != steps_.rend(); ++step) {
    try {
      (*step)();
    } catch (const std::exception&) {
      // The error that brought us here is the one to be told.
    }
  }
}

}  // namespace panel::functions
