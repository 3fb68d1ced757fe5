#pragma once

#include <sys/resource.h>

namespace panel {

/// Lets this process open no descriptor from `limit` on while it lives.
class DescriptorLimit {
 public:
  explicit DescriptorLimit(rlim_t limit) {
    getrlimit(RLIMIT_NOFILE, &old_);
    const rlimit low{limit, old_.rlim_max};
    setrlimit(RLIMIT_NOFILE, &low);
  }
  DescriptorLimit(const DescriptorLimit&) = delete;
  DescriptorLimit& operator=(const DescriptorLimit&) = delete;
  ~DescriptorLimit() { setrlimit(RLIMIT_NOFILE, &old_); }

 private:
  rlimit old_{};
};

}  // namespace panel
