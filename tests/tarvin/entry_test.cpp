#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <memory>
#include <new>

#include "memory.h"
#include "support/forked.h"
#include "support/scratch.h"
#include "support/seam.h"
#include "trel/trel_log.h"

extern "C" int vormain(int argc, char** argv);

namespace {

int RunJob(std::vector<std::string> texts) {
  texts.insert(texts.begin(), "tarvin");
  std::vector<char*> argv;
  for (auto& text : texts) argv.push_back(text.data());
  return vormain(static_cast<int>(argv.size()), argv.data());
}

TEST(Entry, OpensTheLogBeforeItCountsItsArguments) {
  support::Scratch scratch;
  const auto log_dir = scratch.Path("log");
  const auto conf = scratch.Write("trel.toml", "[log]\ndir = '" + log_dir + "'\n");
  EXPECT_TRUE(support::HoldsWhenForked([&] {
    setenv("TREL_CONF", conf.c_str(), 1);
    trel_seam::Current().log = nullptr;
    const trel_log::Module module("tarvin", "vortrel");
    EXPECT_EQ(RunJob({}), 1);
    EXPECT_TRUE(module.Check(9));
    EXPECT_FALSE(module.Check(10));
  }));
  EXPECT_EQ(support::ReadFile(log_dir + "/tarvin.log"), "");
  EXPECT_EQ(support::ModeOf(log_dir + "/tarvin.log"), 0600U);
}

/// A panel that agrees to everything, and runs out of memory between the login and the first step.
class PanelBeforeTheEnd : public support::ScriptedPanel {
 public:
  trel_seam::HttpReply Post(const trel_seam::HttpPost& post) override {
    if (post.body.rfind("func=optionlist", 0) == 0) TestMemory().failing_size = 0;
    auto reply = ScriptedPanel::Post(post);
    if (post.body.rfind("func=auth&", 0) == 0) TestMemory().failing_size = failing_size;
    return reply;
  }
  std::size_t failing_size = 0;
};

/// How many bytes a shared_ptr takes to hold what it is given.
std::size_t SizeOfHolder() {
  auto* held = new int;
  const std::shared_ptr<int> holder(held);
  return TestMemory().last_size;
}

/// The queries of a job that runs out of memory at the allocation with that number, of those that
/// are as large as the job's holder; none when there is no such allocation.
std::vector<std::string> QueriesOfJobWithoutMemory(int number) {
  const support::SeamKeeper keeper;
  const auto panel = std::make_shared<PanelBeforeTheEnd>();
  trel_seam::Current().http = panel;
  trel_seam::Current().host = std::make_shared<support::ScriptedHost>();
  trel_seam::Current().log = std::make_shared<support::KeptLog>();
  const support::Scratch scratch;
  const auto params =
      scratch.Write("params", "remote_type = vortrel5lite\nusername = user1\nuser_disabled = on\n");
  panel->failing_size = SizeOfHolder();
  TestMemory().good = number;
  try {
    RunJob({params});
    return {};
  } catch (const std::bad_alloc&) {
    EXPECT_TRUE(scratch.Names().empty());
  }
  std::vector<std::string> queries;
  for (const auto& post : panel->posts) {
    queries.push_back(post.body.substr(0, post.body.find("&elid")));
  }
  return queries;
}

TEST(Entry, EndsACompleteJobThatCannotBeHeldAndThenTheShellSwitch) {
  const std::string disable = "func=user.disable";
  const std::string off = "func=user.edit&sok=ok&limit_shell=off";
  // What the job asks at its end: while it is made, while it is handed over, while it runs.
  std::vector<std::vector<std::string>> ends;
  for (int number = 0;; ++number) {
    auto queries = QueriesOfJobWithoutMemory(number);
    if (queries.empty()) break;
    EXPECT_THAT(queries, testing::Contains(off).Times(1));
    queries.erase(queries.begin(), queries.end() - 2);
    ends.push_back(queries);
  }
  EXPECT_THAT(ends, testing::Contains(testing::ElementsAre(disable, off)).Times(1));
}

}  // namespace
