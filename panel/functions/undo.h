#pragma once

#include <functional>
#include <utility>
#include <vector>

namespace panel::functions {

/// What to do, last step first, when a function does not get to its end.
class Undo {
 public:
  Undo() = default;
  Undo(const Undo&) = delete;
  Undo& operator=(const Undo&) = delete;
  /// Runs the steps; one that throws does not keep the others from running.
  ~Undo();

  void Add(std::function<void()> step) { steps_.push_back(std::move(step)); }
  /// All is done: nothing is to be undone.
  void Clear() { steps_.clear(); }

 private:
  std::vector<std::function<void()>> steps_;
};

}  // namespace panel::functions
