#include "faults/matrix.h"

#include <algorithm>
#include <deque>
#include <memory>
#include <thread>

namespace faults {
namespace {

/// Runs cells side by side, as many as there are processors, and keeps them in order.
class Runner {
 public:
  explicit Runner(std::vector<Entry>& entries) : entries_(entries) {}
  ~Runner() {
    while (!running_.empty()) Collect();
  }
  Runner(const Runner&) = delete;
  Runner& operator=(const Runner&) = delete;

  void Start(const Smooth& smooth, const Call& call, const Plan& plan) {
    static const std::size_t most = std::max(1U, std::thread::hardware_concurrency());
    if (running_.size() == most) Collect();
    entries_.push_back({smooth.scenario, call, plan.fault->name, {}});
    running_.push_back(std::make_unique<Cell>(smooth.scenario, &smooth.result.calls, plan));
  }

 private:
  void Collect() {
    entries_[entries_.size() - running_.size()].result = running_.front()->Wait();
    running_.pop_front();
  }

  std::vector<Entry>& entries_;
  std::deque<std::unique_ptr<Cell>> running_;
};

/// The plan of a change to the files, by the call that fails by it: one of either kind, or none.
Plan PlanOf(const Fault& change, const Calls& calls) {
  const auto& files = calls.files;
  if (change.shows.key.empty() || change.shows.channel == Channel::kFile) {
    const auto at = std::find_if(files.begin(), files.end(),
                                 [&](const auto& file) { return file.call == change.shows; });
    return {static_cast<std::size_t>(at - files.begin()), &change, true};
  }
  const auto at = std::find(calls.calls.begin(), calls.calls.end(), change.shows);
  return {static_cast<std::size_t>(at - calls.calls.begin()), &change, false};
}

void RunAll(const Smooth& smooth, std::vector<Entry>& entries) {
  Runner runner(entries);
  const auto& calls = smooth.result.calls;
  for (std::size_t i = 0; i < calls.calls.size(); ++i) {
    for (const auto& fault : FaultsOf(calls.calls[i])) {
      runner.Start(smooth, calls.calls[i], {i, &fault, false});
    }
  }
  for (std::size_t i = 0; i < calls.files.size(); ++i) {
    for (const auto& fault : FaultsOf(calls.files[i].call)) {
      runner.Start(smooth, calls.files[i].call, {i, &fault, true});
    }
  }
  for (const auto& change : Changes()) {
    runner.Start(smooth, {Channel::kFile, "others", ""}, PlanOf(change, calls));
  }
}

}  // namespace

const Matrix& TheMatrix() {
  static const Matrix matrix = [] {
    Matrix made;
    for (const auto& scenario : Scenarios()) {
      made.smooth.push_back({scenario, Cell(scenario, nullptr, {}).Wait()});
    }
    for (const auto& smooth : made.smooth) RunAll(smooth, made.entries);
    return made;
  }();
  return matrix;
}

}  // namespace faults
