#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <iostream>
#include <set>

#include "faults/matrix.h"
#include "faults/page.h"
#include "faults/rules.h"
#include "support/forked.h"
#include "support/scratch.h"

namespace faults {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

/// Far above what a migration takes, and far below what an unbounded text would.
constexpr long kMemoryLimitKib = 512 << 10;

class FaultMatrix : public testing::Test {
 protected:
  void SetUp() override { REQUIRE_ROOT(); }
};

TEST_F(FaultMatrix, StartsFromMigrationsThatGoWell) {
  for (const auto& smooth : TheMatrix().smooth) {
    EXPECT_THAT(smooth.result.wrong, IsEmpty()) << smooth.scenario.Name();
    EXPECT_EQ(smooth.result.summary, "status 0 | none | nothing") << smooth.scenario.Name();
  }
}

TEST_F(FaultMatrix, HasARuleForEveryInteraction) {
  for (const auto& smooth : TheMatrix().smooth) {
    for (const auto& call : smooth.result.calls.calls) {
      EXPECT_NE(RuleOf(call), nullptr) << Describe(call);
    }
    for (const auto& file : smooth.result.calls.files) {
      EXPECT_NE(RuleOf(file.call), nullptr) << Describe(file.call);
    }
  }
}

TEST_F(FaultMatrix, HasNoRuleWithoutAnInteraction) {
  std::set<const Rule*> met;
  for (const auto& smooth : TheMatrix().smooth) {
    for (const auto& call : smooth.result.calls.calls) met.insert(RuleOf(call));
    for (const auto& file : smooth.result.calls.files) met.insert(RuleOf(file.call));
  }
  for (const auto& rule : Rules()) {
    EXPECT_TRUE(met.count(&rule) > 0) << NameOf(rule.channel) << ": " << rule.key;
  }
}

TEST_F(FaultMatrix, ComesToWhatTheRulesSayInEveryCell) {
  std::size_t failures = 0;
  for (const auto& entry : TheMatrix().entries) {
    if (entry.result.wrong.empty()) continue;
    ++failures;
    ADD_FAILURE() << entry.scenario.Name() << ", " << Describe(entry.call) << ", " << entry.fault
                  << ": " << testing::PrintToString(entry.result.wrong);
  }
  std::cout << "fault matrix: " << TheMatrix().entries.size() << " cells, " << failures
            << " failures\n";
}

TEST_F(FaultMatrix, NeedsLittleMemoryInEveryCell) {
  for (const auto& entry : TheMatrix().entries) {
    EXPECT_LT(entry.result.memory_kib, kMemoryLimitKib) << Describe(entry.call) << entry.fault;
  }
}

TEST_F(FaultMatrix, IsWhatThePageOnReliabilityShows) {
  const std::string page = support::ReadFile(PAGE);
  EXPECT_EQ(ReplaceTables(page, MakeTables(TheMatrix())), page)
      << "to be written anew with: fault_matrix --table";
}

}  // namespace
}  // namespace faults
