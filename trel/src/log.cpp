#include "trel/trel_log.h"

#include <fcntl.h>
#include <spdlog/sinks/base_sink.h>
#include <spdlog/spdlog.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <mutex>

#include "descriptor.h"
#include "seam/conf.h"
#include "seam/seam.h"
#include "trel/trel_err.h"
#include "trel/trel_file.h"

namespace trel_log {
namespace {

/// Below every level: nothing is written before Init.
std::atomic<int> threshold{-1};

/// Hands each line to the system at once: none waits in a buffer when the process is killed, and
/// lines of two processes never mix.
class LineWriter : public spdlog::sinks::base_sink<std::mutex> {
 public:
  explicit LineWriter(Descriptor file) : file_(std::move(file)) {}

 protected:
  void sink_it_(const spdlog::details::log_msg& message) override {
    spdlog::memory_buf_t line;
    formatter_->format(message, line);
    [[maybe_unused]] const auto size = write(file_.get(), line.data(), line.size());
  }
  void flush_() override {}

 private:
  Descriptor file_;
};

class FileSink : public trel_seam::LogSink {
 public:
  explicit FileSink(Descriptor file)
      : logger_("trel", std::make_shared<LineWriter>(std::move(file))) {
    logger_.set_pattern("%Y-%m-%dT%H:%M:%S.%f %P %v");
  }

  void Write(int level, std::string_view module, std::string_view message) noexcept override {
    std::string line;
    for (const char c : message) {
      line += c;
      if (c == '\n') line += '\t';
    }
    logger_.info("{} {} {}", level, module, line);
  }

 private:
  spdlog::logger logger_;
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

std::string Format(const char* format, va_list arguments) {
  va_list again;
  va_copy(again, arguments);
  const int size = std::vsnprintf(nullptr, 0, format, arguments);
  std::string text;
  text.resize(static_cast<std::size_t>(std::max(size, 0)) + 1);
  std::vsnprintf(text.data(), text.size(), format, again);
  va_end(again);
  text.pop_back();
  return text;
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
  sink->Write(level, name_, Format(format, arguments));
  va_end(arguments);
}

}  // namespace trel_log
