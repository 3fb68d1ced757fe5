#include "faults/cell.h"

#include <sched.h>
#include <sys/mount.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <utility>

#include "faults/verdict.h"
#include "support/scratch.h"

extern "C" int vormain(int argc, char** argv);
/// Present in a build that measures coverage.
extern "C" void __gcov_dump() __attribute__((weak));

namespace faults {
namespace {

namespace fs = std::filesystem;

/// Far beyond what any cell takes: whoever is there longer hangs.
constexpr unsigned kHangsAfter = 30;

/// The run in its own process.
class Run {
 public:
  Run(const Scenario& scenario, const std::string& dir, const Calls* smooth, const Plan& plan,
      const std::string& report)
      : stage_(scenario, dir, plan), smooth_(smooth), plan_(plan), report_(report) {}

  [[noreturn]] void Perform();

 private:
  void MakeFolder() const;
  [[noreturn]] void Finish();

  static Run* current_;

  Stage stage_;
  const Calls* smooth_;
  const Plan& plan_;
  std::ofstream report_;
  Observed observed_;
};

Run* Run::current_ = nullptr;

void Run::Perform() {
  alarm(kHangsAfter);
  MakeFolder();
  current_ = this;
  std::set_terminate([] {
    current_->observed_.end = End::kTerminates;
    current_->Finish();
  });
  trel_seam::Current() = stage_.MakeSeam();
  stage_.Change("");
  std::string params = stage_.world.dir + "/params";
  std::string name = "tarvin";
  char* argv[] = {name.data(), params.data(), nullptr};
  WatchFiles(&stage_);
  try {
    observed_.status = vormain(2, argv);
  } catch (const std::exception& error) {  // what the launcher prints
    observed_.end = End::kThrows;
    observed_.status = 1;
    observed_.thrown = error.what();
  }
  Finish();
}

/// Mounts a disk of its own on the folder, which no other process sees.
void MountSmallDisk(const std::string& dir) {
  const std::string size = "size=" + std::to_string(kSmallDisk);
  if (unshare(CLONE_NEWNS) != 0 || mount("", "/", "", MS_REC | MS_PRIVATE, nullptr) != 0 ||
      mount("disk", dir.c_str(), "tmpfs", 0, size.c_str()) != 0) {
    std::perror("a disk for the run");
    std::abort();
  }
}

void Run::MakeFolder() const {
  const std::string& dir = stage_.world.dir;
  fs::create_directory(dir);
  if (plan_.fault != nullptr && plan_.fault->small_disk) MountSmallDisk(dir);
  fs::create_directory(dir + "/home");
  std::ofstream(dir + "/home/notes") << "of before\n";
  std::ofstream(dir + "/victim") << "S3-victim\n";
  std::ofstream(dir + "/master_key") << "-----BEGIN S3-master-----\n";
  std::ofstream params(dir + "/params");
  for (const auto& [key, value] : ParamsOf(stage_.world.scenario, dir)) {
    params << key << " = " << value << "\n";
  }
}

void Run::Finish() {
  WatchFiles(nullptr);
  const Calls calls{stage_.calls, stage_.file_calls};
  const auto& smooth = smooth_ != nullptr ? *smooth_ : calls;
  const auto forecast = Foresee(stage_.world.scenario, smooth, plan_, stage_.said);
  auto wrong = Judge(stage_, observed_, forecast);
  if (plan_.fault != nullptr && stage_.fired == 0) wrong.push_back("the fault was never met");
  report_ << Summarise(stage_, observed_) << "\n" << wrong.size() << "\n";
  for (auto& line : wrong) {
    for (char& c : line) {
      if (c == '\n') c = ' ';
    }
    report_ << line << "\n";
  }
  report_ << WriteCalls(calls);
  report_.close();
  if (__gcov_dump != nullptr) __gcov_dump();
  _exit(0);
}

Result ReadReport(const std::string& file) {
  std::ifstream report(file);
  Result result;
  std::string count;
  std::getline(report, result.summary);
  std::getline(report, count);
  for (int i = str::Int(count); i > 0; --i) {
    std::getline(report, result.wrong.emplace_back());
  }
  std::ostringstream calls;
  calls << report.rdbuf();
  result.calls = ReadCalls(calls.str());
  return result;
}

}  // namespace

Cell::Cell(const Scenario& scenario, const Calls* smooth, const Plan& plan) {
  const std::string report = folder_.Path("report");
  pid_ = fork();
  if (pid_ == 0) Run(scenario, folder_.Path("world"), smooth, plan, report).Perform();
}

Cell::~Cell() {
  if (pid_ == 0) return;
  kill(pid_, SIGKILL);
  waitpid(pid_, nullptr, 0);
}

Result Cell::Wait() {
  int status = 0;
  rusage usage{};
  wait4(std::exchange(pid_, 0), &status, 0, &usage);
  Result result = ReadReport(folder_.Path("report"));
  result.memory_kib = usage.ru_maxrss;
  if (WIFSIGNALED(status)) {
    const int signal = WTERMSIG(status);
    const bool hangs = signal == SIGALRM;
    result.wrong.push_back(hangs ? "hangs" : "ended by signal " + std::to_string(signal));
  } else if (result.summary.empty()) {
    result.wrong.push_back("no report");
  }
  return result;
}

}  // namespace faults
