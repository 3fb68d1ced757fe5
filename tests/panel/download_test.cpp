#include "panel/download.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace panel {
namespace {

constexpr std::size_t kPiece = 65536;

// Gives `size` bytes, `step` at a time, then ends or fails.
class Stream : public dbserver::DumpStream {
 public:
  Stream(std::size_t size, std::size_t step, bool fails)
      : left_(size), step_(step), fails_(fails) {}

  std::size_t Read(std::span<char> buffer) override {
    EXPECT_FALSE(over_) << "read on behind the end";
    const std::size_t count = std::min({left_, step_, buffer.size()});
    over_ = count == 0;
    if (over_ && fails_) {
      throw Error("system", "dump", "", "it broke");
    }
    std::fill_n(buffer.begin(), count, 'x');
    left_ -= count;
    return count;
  }

 private:
  std::size_t left_;
  std::size_t step_;
  bool fails_;
  bool over_ = false;
};

class DownloadTest : public testing::Test {
 protected:
  std::unique_ptr<Download> Open(std::size_t size, std::size_t step, bool fails = false) {
    return std::make_unique<Download>(
        std::make_unique<Stream>(size, step, fails), [this](const Error* error) {
          ended_ += error == nullptr ? "whole;" : std::string(error->what()) + ";";
        });
  }

  std::string ended_;
};

TEST_F(DownloadTest, GivesLargePiecesAndThenTheEnd) {
  const auto download = Open(2 * kPiece + 1, 1000);
  EXPECT_EQ(download->Next(), std::string(kPiece, 'x'));
  EXPECT_EQ(download->Next().size(), kPiece);
  EXPECT_EQ(download->Next(), "x");
  EXPECT_EQ(ended_, "");
  EXPECT_EQ(download->Next(), "");
  EXPECT_EQ(ended_, "whole;");
}

TEST_F(DownloadTest, AnEndAtTheEndOfAPieceIsOne) {
  auto download = Open(kPiece, kPiece);
  EXPECT_EQ(download->Next().size(), kPiece);
  EXPECT_EQ(download->Next(), "");
  download.reset();
  EXPECT_EQ(ended_, "whole;");
}

TEST_F(DownloadTest, AnEmptyDumpIsAtItsEnd) {
  EXPECT_EQ(Open(0, 1)->Next(), "");
  EXPECT_EQ(ended_, "whole;");
}

TEST_F(DownloadTest, AFailureWithinTheFirstPieceIsKnownBeforeAnythingIsGiven) {
  EXPECT_THROW(Open(0, 1, true), Error);
  EXPECT_THROW(Open(kPiece - 1, 1000, true), Error);
  EXPECT_EQ(ended_, "");
}

TEST_F(DownloadTest, ALaterFailureIsAnError) {
  auto download = Open(kPiece + 1, 1000, true);
  EXPECT_EQ(download->Next().size(), kPiece);
  EXPECT_THROW(download->Next(), Error);
  download.reset();
  EXPECT_EQ(ended_, "it broke;");
}

TEST_F(DownloadTest, AReceiverThatGoesAwayIsTold) {
  auto download = Open(2 * kPiece, kPiece);
  download->Next();
  download.reset();
  EXPECT_EQ(ended_, "the receiver went away;");
}

}  // namespace
}  // namespace panel
