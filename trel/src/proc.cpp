#include "trel/trel_proc.h"

#include "seam/seam.h"
#include "trel/trel_err.h"

namespace trel_proc {

std::string Escape(const std::string& text) {
  if (text.empty()) return "";
  std::string word = "'";
  for (const char c : text) {
    if (c == '\'') {
      word += "'\\''";
    } else {
      word += c;
    }
  }
  return word + "'";
}

Execute::Execute(const std::string& command, int options)
    : Execute(std::vector<std::string>{"/bin/sh", "-c", command}, options) {}

Execute::Execute(const std::vector<std::string>& arguments, int options)
    : arguments_(arguments), options_(options) {
  if ((options & ~(kCaptureOutput | kCaptureErrors | kProcessGroup)) != 0) {
    trel_err::AssertError::Raise("trel/proc", __LINE__, "trel_proc::Execute::Execute",
                                 "an option word with unknown bits");
  }
}

Execute& Execute::SetUser(const std::string& name) {
  user_ = name;
  return *this;
}

Execute& Execute::SetDir(const std::string& path) {
  dir_ = path;
  return *this;
}

Execute& Execute::SetEnv(const std::string& name, const std::string& value) {
  env_[name] = value;
  return *this;
}

std::string Execute::Str() {
  Run();
  return output_;
}

int Execute::Result() {
  Run();
  return result_;
}

void Execute::Run() {
  if (done_) return;
  done_ = true;
  auto outcome = trel_seam::Current().processes->Run(
      {arguments_, user_, dir_, env_, (options_ & kCaptureOutput) != 0,
       (options_ & kCaptureErrors) != 0, (options_ & kProcessGroup) != 0});
  output_ = std::move(outcome.output);
  result_ = outcome.status;
}

}  // namespace trel_proc
