#include "trel/trel_log.h"

#include <fcntl.h>
#include <spdlog/pattern_formatter.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <limits>
#include <mutex>

#include "descriptor.h"
#include "seam/conf.h"
#include "seam/seam.h"
#include "trel/trel_err.h"
#include "trel/trel_file.h"

namespace trel_log {
namespace {

/// Below every level: nothing is written before Init.
std::atomic<int> threshold{std::numeric_limits<int>::min()};

/// Hands each line to the system at once: none waits in a buffer when the process is killed, and
/// lines of two processes never mix.
class FileSink : public trel_seam::LogSink {
 public:
  explicit FileSink(Descriptor file)
      : file_(std::move(file)),
        head_("%Y-%m-%dT%H:%M:%S.%f " + std::to_string(getpid()), spdlog::pattern_time_type::local,
              "") {}

  void Write(int level, std::string_view module, std::string_view message) noexcept override {
    const std::lock_guard guard(lock_);
    // A message may be a whole reply of a panel: it is copied once.
    spdlog::memory_buf_t line;
    head_.format({"", spdlog::level::info, ""}, line);
    fmt::format_to(std::back_inserter(line), " {} {} ", level, module);
    while (!message.empty()) {
      const auto size = std::min(message.find('\n'), message.size() - 1) + 1;
      line.append(message.data(), message.data() + size);
      if (line.end()[-1] == '\n') line.push_back('\t');
      message.remove_prefix(size);
    }
    line.push_back('\n');
    [[maybe_unused]] const auto size = write(file_.get(), line.data(), line.size());
  }

 private:
  Descriptor file_;
  std::mutex lock_;
  spdlog::pattern_formatter head_;
};

std::shared_ptr<trel_seam::LogSink>& File() {
  static std::shared_ptr<trel_seam::LogSink> file;
  return file;
}

trel_seam::LogSink* Sink() {
  const auto& scripted = trel_seam::Current().log;
  return scripted ? scripted.get() : File().get();
}

[[noreturn]] void Refuse(const std::string& path, int error) {
  throw trel_err::Error("log", "open", path, "the log '" + path + "': " + std::strerror(error));
}

void MakeDirectory(const std::string& dir) {
  std::error_code error;
  if (std::filesystem::create_directories(dir, error)) trel_file::Attrs(0700).SafeSet(dir, false);
  if (error) Refuse(dir, error.value());
}

/// Owner-only before its first line, also when it was there: lines can hold password hashes.
Descriptor OpenFile(const std::string& path) {
  Descriptor file(open(path.c_str(),
                       O_WRONLY | O_APPEND | O_CREAT | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC, 0600));
  if (!file || fchmod(file.get(), 0600) != 0) Refuse(path, errno);
  return file;
}

/// Hands the formatted text to `take`. Most lines, replies of a panel among them, are short enough
/// to be formatted at once and cost no memory of the heap.
template <class Take>
void Format(const char* format, va_list arguments, const Take& take) {
  va_list again;
  va_copy(again, arguments);
  std::array<char, 8192> brief;
  const int size = std::vsnprintf(brief.data(), brief.size(), format, arguments);
  const auto length = static_cast<std::size_t>(std::max(size, 0));
  if (length < brief.size()) {
    take(std::string_view(brief.data(), length));
  } else {
    std::string text(length, '\0');
    std::vsnprintf(text.data(), length + 1, format, again);
    take(std::string_view(text));
  }
  va_end(again);
}

}  // namespace

void Init(const std::string& name, int level) {
  if (!trel_seam::Current().log) {
    const auto& dir = trel_seam::Configuration().log_dir;
    MakeDirectory(dir);
    File() = std::make_shared<FileSink>(OpenFile(trel_file::ConcatPath(dir, name + ".log")));
  }
  threshold = level;
}

Module::Module(const char* name, const char* /*panel*/) : name_(name) {}

bool Module::Check(int level) const noexcept {
  return level <= threshold.load(std::memory_order_relaxed);
}

void Module::Write(int level, const char* format, ...) const noexcept {
  auto* sink = Sink();
  if (sink == nullptr) return;
  va_list arguments;
  va_start(arguments, format);
  Format(format, arguments, [&](std::string_view text) { sink->Write(level, name_, text); });
  va_end(arguments);
}

}  // namespace trel_log
