#pragma once

#include <unistd.h>

#include <cerrno>
#include <string_view>
#include <utility>

/// Owns a file descriptor.
class Descriptor {
 public:
  explicit Descriptor(int fd = -1) : fd_(fd) {}
  ~Descriptor() { Close(); }
  Descriptor(Descriptor&& other) noexcept : fd_(std::exchange(other.fd_, -1)) {}
  Descriptor& operator=(Descriptor&& other) noexcept {
    std::swap(fd_, other.fd_);
    return *this;
  }

  int get() const { return fd_; }
  explicit operator bool() const { return fd_ >= 0; }
  void Close() {
    if (fd_ >= 0) close(std::exchange(fd_, -1));
  }

 private:
  int fd_;
};

/// Writes the whole text. False, with errno set, when the system takes no more of it.
inline bool WriteAll(const Descriptor& file, std::string_view text) {
  while (!text.empty()) {
    const auto size = TEMP_FAILURE_RETRY(write(file.get(), text.data(), text.size()));
    if (size < 0) return false;
    text.remove_prefix(static_cast<std::size_t>(size));
  }
  return true;
}
