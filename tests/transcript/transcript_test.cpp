#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <vector>

#include "transcript/runner.h"

namespace {

namespace fs = std::filesystem;

const fs::path kFolder = TRANSCRIPTS;

std::vector<fs::path> AllTranscripts() {
  std::vector<fs::path> files;
  for (const auto& entry : fs::recursive_directory_iterator(kFolder)) {
    if (entry.path().extension() == ".transcript") files.push_back(entry.path());
  }
  std::sort(files.begin(), files.end());
  return files;
}

/// "files/mail_rights_come_first" as "files__mail_rights_come_first".
std::string NameOf(const testing::TestParamInfo<fs::path>& info) {
  std::string name = fs::relative(info.param, kFolder).replace_extension().string();
  const auto slash = name.find('/');
  return slash == std::string::npos ? name : name.replace(slash, 1, "__");
}

class Transcript : public testing::TestWithParam<fs::path> {};

TEST_P(Transcript, Holds) {
  const auto outcome = transcript::Run(GetParam());
  EXPECT_EQ(outcome.expected, outcome.happened);
}

INSTANTIATE_TEST_SUITE_P(All, Transcript, testing::ValuesIn(AllTranscripts()), NameOf);

}  // namespace
