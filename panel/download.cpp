#include "panel/download.h"

#include <utility>

namespace panel {
namespace {

constexpr std::size_t kPiece = 65536;

}  // namespace

Download::Download(std::unique_ptr<dbserver::DumpStream> stream, Ended ended)
    : stream_(std::move(stream)), buffer_(kPiece) {
  Fill();
  ended_ = std::move(ended);
}

Download::~Download() {
  const Error gone("gone", "dump", "", "the receiver went away");
  try {
    End(&gone);
  } catch (const std::exception&) {
    // Nobody is left who could be told.
  }
}

std::string_view Download::Next() {
  try {
    if (!std::exchange(fresh_, false)) {
      Fill();
    }
  } catch (const Error& error) {
    End(&error);
    throw;
  }
  if (size_ == 0) {
    End(nullptr);
  }
  return {buffer_.data(), size_};
}

// A piece is as large as can be: a dump that fails within the first is answered with its error.
void Download::Fill() {
  size_ = 0;
  while (!whole_ && size_ < buffer_.size()) {
    const std::size_t count = stream_->Read({buffer_.data() + size_, buffer_.size() - size_});
    whole_ = count == 0;
    size_ += count;
  }
}

void Download::End(const Error* error) {
  if (const Ended ended = std::exchange(ended_, nullptr)) {
    ended(error);
  }
}

}  // namespace panel
