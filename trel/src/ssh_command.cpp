#include "ssh_command.h"

#include <libssh/server.h>

#include <algorithm>
#include <array>
#include <csignal>
#include <cstring>

namespace trel_seam {
namespace {

using namespace std::chrono_literals;

constexpr std::size_t kOutputLimit = 256 << 20;
/// The largest piece that libssh sends as one packet.
constexpr std::size_t kPiece = 32758;
/// How long the end of the output may trail the exit status before we ask.
constexpr std::chrono::milliseconds kGrace = 500ms;

/// Lets a session be pumped. The channel's own waiting calls see neither a window that opens nor
/// anything behind the end of the output.
class Pump {
 public:
  explicit Pump(ssh_session session) : session_(session), event_(ssh_event_new()) {
    ssh_event_add_session(event_, session_);
  }
  ~Pump() {
    ssh_event_remove_session(event_, session_);
    ssh_event_free(event_);
  }
  Pump(const Pump&) = delete;
  Pump& operator=(const Pump&) = delete;

  /// Waits until something arrived, or for a moment. False when the connection is gone.
  bool Wait() const {
    constexpr int kMoment = 50;
    return ssh_event_dopoll(event_, kMoment) != SSH_ERROR && ssh_is_connected(session_) != 0;
  }

 private:
  ssh_session session_;
  ssh_event event_;
};

/// The number of the signal "KILL", "TERM", ...; 0 for a name that this system does not know.
int SignalNumber(const char* name) {
  for (int number = 1; number < NSIG; ++number) {
    const char* known = sigabbrev_np(number);
    if (known != nullptr && std::strcmp(known, name) == 0) return number;
  }
  return 0;
}

}  // namespace

SshCommand::SshCommand(const SshSession& session, const std::string& command)
    : session_(session), callbacks_(), channel_(ssh_channel_new(session.get()), ssh_channel_free) {
  if (!channel_ || ssh_is_connected(session_.get()) == 0)
    throw session_.Failure(SshStep::kLost, "the connection is gone");
  SetCallbacks();
  if (ssh_channel_open_session(channel_.get()) != SSH_OK) throw session_.Lost();
  if (ssh_channel_request_exec(channel_.get(), command.c_str()) != SSH_OK)
    throw session_.Failure(SshStep::kLost, "the host does not run the command");
}

SshCommand::~SshCommand() {
  // libssh may keep the channel until the host has closed its side, but not what we lent it.
  ssh_remove_channel_callbacks(channel_.get(), &callbacks_);
}

/// The end of a command is told by callbacks: asking for it blocks until it is there.
void SshCommand::SetCallbacks() {
  callbacks_.userdata = this;
  callbacks_.channel_exit_status_function = [](ssh_session, ssh_channel, int status, void* self) {
    static_cast<SshCommand*>(self)->End(status);
  };
  callbacks_.channel_exit_signal_function = [](ssh_session, ssh_channel, const char* signal, int,
                                               const char*, const char*, void* self) {
    static_cast<SshCommand*>(self)->End(128 + SignalNumber(signal));
  };
  ssh_callbacks_init(&callbacks_);
  ssh_set_channel_callbacks(channel_.get(), &callbacks_);
}

void SshCommand::End(int status) {
  status_ = status;
  ended_ = Clock::now();
}

SshOutcome SshCommand::Finish(std::string_view input) {
  const Pump pump(session_.get());
  for (bool moved = true; moved || !Ended();) {
    if (!moved && LeftOpen()) break;
    if (!moved && !pump.Wait()) throw session_.Lost();
    // Reading and writing take turns: a peer that does only one of them stops when both windows
    // are full. Reading comes first because it also takes in the room to write.
    moved = Drain(kOutput);
    moved |= Drain(kErrors);
    moved |= Feed(input);
  }
  ssh_channel_close(channel_.get());
  if (!status_) throw session_.Failure(SshStep::kLost, "the command ended without an exit status");
  return {std::move(output_), *status_};
}

bool SshCommand::Drain(Stream stream) {
  std::array<char, 65536> piece;
  const int size = ssh_channel_read_nonblocking(channel_.get(), piece.data(), piece.size(),
                                                stream == kErrors ? 1 : 0);
  if (size == SSH_ERROR) throw session_.Lost();
  if (size <= 0) return false;
  if (stream == kOutput) output_.append(piece.data(), static_cast<std::size_t>(size));
  if (output_.size() > kOutputLimit)
    throw session_.Failure(SshStep::kLost, "the output is larger than 256 MiB");
  return true;
}

bool SshCommand::Feed(std::string_view& input) {
  if (input.empty()) {
    ssh_channel_send_eof(channel_.get());  // once, however often it is asked for
    return false;
  }
  const auto size =
      std::min<std::size_t>({input.size(), ssh_channel_window_size(channel_.get()), kPiece});
  const int written =
      ssh_channel_write(channel_.get(), input.data(), static_cast<std::uint32_t>(size));
  if (written < 0 && !Closed()) throw session_.Lost();
  input.remove_prefix(static_cast<std::size_t>(std::max(written, 0)));
  return written > 0;
}

bool SshCommand::Ended() const {
  return Closed() || (status_ && ssh_channel_is_eof(channel_.get()) != 0);
}

/// True when the command has ended and its output was left open, by a child in the background. One
/// round trip tells it from an output that is still on its way: what the host sent before its
/// answer is here when the answer is.
bool SshCommand::LeftOpen() {
  if (!status_ || Clock::now() - ended_ < kGrace) return false;
  ssh_send_keepalive(session_.get());
  return !Drain(kOutput) && !Drain(kErrors);
}

}  // namespace trel_seam
