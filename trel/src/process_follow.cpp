#include "process_follow.h"

#include <poll.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstring>
#include <optional>

#include "end_signals.h"

namespace trel_seam {
namespace {

using std::chrono::milliseconds;
using std::chrono::steady_clock;
using namespace std::chrono_literals;

constexpr int kUnknownEnd = 127;
constexpr int kSignalBase = 128;
constexpr std::size_t kOutputLimit = 16 << 20;
/// How long the output may stay open after the child's end: something that it left running in the
/// background may hold it, and even go on writing.
constexpr milliseconds kDrainTime = 1s;
/// What a child is given to end itself before it is killed.
constexpr milliseconds kEndTime = 2s;
/// How often the child is looked at where the system does not tell of its end.
constexpr milliseconds kLookTime = 10ms;

/// Collects output up to the limit and counts the rest.
class Output {
 public:
  /// Reads once. False at the end.
  bool ReadFrom(const Descriptor& pipe) {
    std::array<char, 1 << 16> piece;
    const auto size = TEMP_FAILURE_RETRY(read(pipe.get(), piece.data(), piece.size()));
    const auto got = static_cast<std::size_t>(std::max<ssize_t>(size, 0));
    const auto kept = std::min(got, kOutputLimit - text_.size());
    text_.append(piece.data(), kept);
    dropped_ += got - kept;
    return got > 0;
  }

  /// Moves the text out, with `line` on a line of its own when it is not empty.
  std::string TakeWith(const std::string& line) {
    AddLine(line);
    if (dropped_ > 0) AddLine("[" + std::to_string(dropped_) + " more bytes]");
    return std::move(text_);
  }

 private:
  void AddLine(const std::string& line) {
    if (line.empty()) return;
    if (!text_.empty() && text_.back() != '\n') text_ += '\n';
    text_ += line + "\n";
  }

  std::string text_;
  std::size_t dropped_ = 0;
};

std::string NameOfSignal(int signal) {
  const char* name = sigabbrev_np(signal);
  return name != nullptr ? name : std::to_string(signal);
}

class Follower {
 public:
  Follower(StartedChild child, bool own_group) : child_(std::move(child)), own_group_(own_group) {}

  ProcessOutcome Run() {
    while (!ended_ || (open_ && !Overdue())) WaitForEvent();
    // The child is no more than its number now, which still names its group.
    if (asked_) Signal(SIGKILL);
    return Outcome();
  }

 private:
  void WaitForEvent() {
    constexpr int kNothing = -1;  // to poll
    std::array events{pollfd{open_ ? child_.output.get() : kNothing, POLLIN, 0},
                      pollfd{ended_ ? kNothing : child_.watch.get(), POLLIN, 0},
                      pollfd{asked_ ? kNothing : EndAskedDescriptor(), POLLIN, 0}};
    if (poll(events.data(), events.size(), Remaining()) < 0) return;
    if (events[0].revents != 0) open_ = output_.ReadFrom(child_.output);
    if (events[2].revents != 0) AskToEnd();
    if (!ended_ && HasEnded(events[1])) {
      ended_ = true;
      deadline_ = steady_clock::now() + kDrainTime;
    } else if (!ended_ && Overdue()) {
      Signal(SIGKILL);
      deadline_.reset();
    }
  }

  bool HasEnded(const pollfd& watch) const {
    if (child_.watch) return watch.revents != 0;
    siginfo_t state{};
    return waitid(P_PID, static_cast<id_t>(child_.pid), &state, WEXITED | WNOHANG | WNOWAIT) != 0 ||
           state.si_pid != 0;
  }

  void AskToEnd() {
    asked_ = true;
    Signal(SIGTERM);
    if (!ended_) deadline_ = steady_clock::now() + kEndTime;
  }

  void Signal(int signal) const { kill(own_group_ ? -child_.pid : child_.pid, signal); }

  bool Overdue() const { return deadline_ && steady_clock::now() >= *deadline_; }

  /// For poll: milliseconds to the deadline or to the next look, -1 without either.
  int Remaining() const {
    const bool looks = !ended_ && !child_.watch;
    if (!deadline_) return looks ? static_cast<int>(kLookTime.count()) : -1;
    const auto left = std::max(std::chrono::ceil<milliseconds>(*deadline_ - steady_clock::now()),
                               milliseconds::zero());
    return static_cast<int>((looks ? std::min(left, kLookTime) : left).count());
  }

  ProcessOutcome Outcome() {
    int status{};
    // Where SIGCHLD is ignored the system throws the status away: that is no success.
    if (TEMP_FAILURE_RETRY(waitpid(child_.pid, &status, 0)) < 0) {
      return {output_.TakeWith(std::string("wait: ") + std::strerror(errno)), kUnknownEnd};
    }
    if (WIFEXITED(status)) return {output_.TakeWith(""), WEXITSTATUS(status)};
    const int signal = WTERMSIG(status);
    return {output_.TakeWith("ended by signal " + NameOfSignal(signal)), kSignalBase + signal};
  }

  StartedChild child_;
  bool own_group_;
  Output output_;
  bool open_ = true;
  bool ended_ = false;
  bool asked_ = false;
  /// When the present wait is over: that for a child which was asked to end, or for its output.
  std::optional<steady_clock::time_point> deadline_;
};

}  // namespace

ProcessOutcome FollowChild(StartedChild child, bool own_group) {
  return Follower(std::move(child), own_group).Run();
}

}  // namespace trel_seam
