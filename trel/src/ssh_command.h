#pragma once

#include <libssh/callbacks.h>

#include <chrono>
#include <optional>
#include <string>
#include <string_view>

#include "ssh_session.h"

namespace trel_seam {

/// One command on a channel of its own. Standard error is dropped.
class SshCommand {
 public:
  /// Starts it. Throws SshFailure (kLost). `session` must outlive it.
  SshCommand(const SshSession& session, const std::string& command);
  ~SshCommand();
  SshCommand(const SshCommand&) = delete;
  SshCommand& operator=(const SshCommand&) = delete;

  /// Feeds `input`, ends it, and waits for the end of the command. Called once. Throws SshFailure
  /// (kLost), also for more than 256 MiB of output.
  SshOutcome Finish(std::string_view input);

 private:
  using Clock = std::chrono::steady_clock;

  /// The two streams that a command writes.
  enum Stream { kOutput, kErrors };

  void SetCallbacks();
  void End(int status);
  bool Drain(Stream stream);
  bool Feed(std::string_view& input);
  bool Closed() const { return ssh_channel_is_closed(channel_.get()) != 0; }
  bool Ended() const;
  bool LeftOpen();

  const SshSession& session_;
  ssh_channel_callbacks_struct callbacks_;
  std::unique_ptr<ssh_channel_struct, decltype(&ssh_channel_free)> channel_;
  std::string output_;
  std::optional<int> status_;
  Clock::time_point ended_;
};

}  // namespace trel_seam
