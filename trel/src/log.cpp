#include "trel/trel_log.h"

#include <fcntl.h>
#include <spdlog/sinks/basic_file_sink.h>
#include <spdlog/spdlog.h>
#include <sys/stat.h>

#include <atomic>
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <filesystem>

#include "descriptor.h"
#include "seam/conf.h"
#include "seam/seam.h"
#include "trel/trel_err.h"
#include "trel/trel_file.h"

namespace trel_log {
namespace {

/// Below every level: nothing is written before Init.
std::atomic<int> threshold{-1};

/// Appends to a file, line by line.
class FileSink : public trel_seam::LogSink {
 public:
  explicit FileSink(const std::string& path)
      : logger_("trel", std::make_shared<spdlog::sinks::basic_file_sink_st>(path)) {
    logger_.set_pattern("%Y-%m-%dT%H:%M:%S.%f %P %v");
    logger_.flush_on(spdlog::level::info);
  }

  void Write(int level, std::string_view module, std::string_view message) noexcept override {
    std::string line;
    line.reserve(message.size());
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

/// Makes the log file owner-only before its first line: lines can hold password hashes.
void Protect(const std::string& path) {
  const Descriptor file(
      open(path.c_str(), O_WRONLY | O_APPEND | O_CREAT | O_NOFOLLOW | O_CLOEXEC, 0600));
  if (!file || fchmod(file.get(), 0600) != 0) {
    throw trel_err::Error("log", "open", path,
                          "open the log '" + path + "': " + std::strerror(errno));
  }
}

void OpenFile(const std::string& name) {
  const auto& dir = trel_seam::Configuration().log_dir;
  const auto path = trel_file::ConcatPath(dir, name + ".log");
  std::error_code ignored;
  if (std::filesystem::create_directories(dir, ignored)) trel_file::Attrs(0700).SafeSet(dir, false);
  Protect(path);
  File() = std::make_shared<FileSink>(path);
}

std::string Format(const char* format, va_list arguments) {
  va_list again;
  va_copy(again, arguments);
  const int size = std::vsnprintf(nullptr, 0, format, arguments);
  std::string text(static_cast<std::size_t>(std::max(size, 0)) + 1, '\0');
  std::vsnprintf(text.data(), text.size(), format, again);
  va_end(again);
  text.pop_back();
  return text;
}

}  // namespace

void Init(const std::string& name, int level) {
  if (!trel_seam::Current().log) OpenFile(name);
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
