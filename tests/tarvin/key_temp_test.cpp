#include <gtest/gtest.h>

#include <filesystem>
#include <type_traits>

#include "support/scratch.h"
#include "support/seam.h"
#include "tarvin/tarvin.h"
#include "trel/trel_log.h"

namespace {

using tarvin::KeyTemp;

using Strings = std::vector<std::string>;

class KeyTempTest : public testing::Test {
 protected:
  KeyTempTest() {
    trel_seam::Current().host = host_;
    trel_seam::Current().log = log_;
    trel_log::Init("unit", 9);
  }

  support::SeamKeeper keeper_;
  std::shared_ptr<support::ScriptedHost> host_ = std::make_shared<support::ScriptedHost>();
  std::shared_ptr<support::KeptLog> log_ = std::make_shared<support::KeptLog>();
  support::Scratch scratch_;
  std::string prefix_ = scratch_.Path("key_");
};

TEST_F(KeyTempTest, DrawsTheNamesOfAPair) {
  host_->random = "\x01\xAB\xCD\xEF";
  const KeyTemp keys(prefix_);
  EXPECT_EQ(keys.Private(), prefix_ + "01abcdef");
  EXPECT_EQ(keys.Public(), prefix_ + "01abcdef.pub");
  EXPECT_TRUE(scratch_.Names().empty());
}

TEST_F(KeyTempTest, DrawsAgainUntilNeitherFileExists) {
  host_->random = "AAAABBBBCCCC";
  scratch_.Write("key_41414141", "");
  scratch_.Write("key_42424242.pub", "");
  EXPECT_EQ(KeyTemp(prefix_).Private(), prefix_ + "43434343");
  EXPECT_EQ(scratch_.Names(), (Strings{"key_41414141", "key_42424242.pub"}));
}

TEST_F(KeyTempTest, RemovesBothFiles) {
  host_->random = "AAAABBBBCCCC";
  {
    const KeyTemp keys(prefix_);
    scratch_.Write("key_41414141", "private");
    scratch_.Write("key_41414141.pub", "public");
    scratch_.Write("other", "");
  }
  EXPECT_EQ(scratch_.Names(), (Strings{"other"}));
  {
    const KeyTemp keys(prefix_);
    scratch_.Write("key_42424242.pub", "public");
  }
  EXPECT_EQ(scratch_.Names(), (Strings{"other"}));
  EXPECT_TRUE(log_->lines.empty());
}

TEST_F(KeyTempTest, LogsWhatItCannotRemoveAndGoesOn) {
  host_->random = "AAAA";
  {
    const KeyTemp keys(prefix_);
    std::filesystem::create_directory(keys.Private());
    scratch_.Write("key_41414141.pub", "public");
  }
  EXPECT_EQ(scratch_.Names(), (Strings{"key_41414141"}));
  const auto file = prefix_ + "41414141";
  EXPECT_EQ(log_->lines, (Strings{"4 tarvin failed to remove temporary key: file: remove: " + file +
                                  " (" + file + ": Is a directory)"}));
  static_assert(std::is_nothrow_destructible_v<KeyTemp> && !std::is_copy_constructible_v<KeyTemp>);
}

}  // namespace
