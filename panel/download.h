#pragma once

#include <functional>
#include <memory>
#include <string_view>
#include <vector>

#include "panel/dbserver/dump_stream.h"
#include "panel/error.h"

namespace panel {

/// A dump on its way to a caller, a piece at a time and without a copy of the whole.
class Download {
 public:
  /// How it ended: null for well, the error of the dump otherwise.
  using Ended = std::function<void(const Error* error)>;

  /// Reads the first piece, so that a dump that fails early is known before anything is sent.
  /// Throws Error like the stream; `ended` is not called then.
  Download(std::unique_ptr<dbserver::DumpStream> stream, Ended ended);
  Download(const Download&) = delete;
  Download& operator=(const Download&) = delete;
  /// Tells `ended` that the receiver went away, unless it was told about an end before.
  ~Download();

  /// The next piece, which stays until the next call. Empty at the end of a whole dump. Throws
  /// Error when the dump failed.
  std::string_view Next();

 private:
  void Fill();
  void End(const Error* error);

  std::unique_ptr<dbserver::DumpStream> stream_;
  Ended ended_;
  std::vector<char> buffer_;
  std::size_t size_ = 0;  // bytes in the buffer
  bool fresh_ = true;     // they were not given out yet
  bool whole_ = false;    // there are no more behind them
};

}  // namespace panel
