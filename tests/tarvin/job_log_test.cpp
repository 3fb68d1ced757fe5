#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "support/scratch.h"
#include "trel/trel_proc.h"

namespace {

TEST(TheJob, WritesALogOfItsOwnName) {
  const support::Scratch scratch;
  const auto params = scratch.Write("params", "remote_type = other\n");
  trel_proc::Execute job({VORLAUNCH, TARVIN, params}, trel_proc::Execute::kCaptureOutput);
  job.SetEnv("TREL_CONF", scratch.Write("trel.toml", "log.dir = '" + scratch.Path("log") + "'\n"));
  EXPECT_EQ(job.Result(), 1);
  const auto log = support::ReadFile(scratch.Path("log/tarvin.log"));
  EXPECT_THAT(log, testing::HasSubstr(" 3 tarvin unknown param value 'remote_type'='other'\n"));
  EXPECT_THAT(log, testing::ContainsRegex(" 9 tarvin tarvin:[0-9]+ got param 'remote_type' = "));
}

}  // namespace
