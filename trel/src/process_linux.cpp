#include <fcntl.h>
#include <grp.h>
#include <poll.h>
#include <pwd.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <optional>

#include "descriptor.h"
#include "end_signals.h"
#include "seam/seam.h"

namespace trel_seam {
namespace {

constexpr int kNotStarted = 127;
constexpr std::size_t kOutputLimit = 16 << 20;
/// How long the output may stay open after the child's end: something that it left running in the
/// background may hold it.
constexpr int kDrainMilliseconds = 1000;
/// What a child is given to end itself before it is killed.
constexpr int kEndMilliseconds = 2000;

/// Who the child runs as.
struct Account {
  std::string name;
  std::string home;
  std::string shell;
  uid_t uid = 0;
  gid_t gid = 0;
  std::vector<gid_t> groups;
};

std::optional<Account> FindAccount(const std::string& name) {
  passwd entry{};
  passwd* found = nullptr;
  std::vector<char> space(1 << 16);
  if (name.empty()) {
    getpwuid_r(geteuid(), &entry, space.data(), space.size(), &found);
  } else {
    getpwnam_r(name.c_str(), &entry, space.data(), space.size(), &found);
  }
  if (found == nullptr) return std::nullopt;
  Account account{found->pw_name, found->pw_dir, found->pw_shell, found->pw_uid, found->pw_gid, {}};
  int count = 0;
  getgrouplist(found->pw_name, found->pw_gid, nullptr, &count);
  account.groups.resize(static_cast<std::size_t>(std::max(count, 0)));
  getgrouplist(found->pw_name, found->pw_gid, account.groups.data(), &count);
  return account;
}

/// Pointers into texts that outlive it, in the form that exec takes.
std::vector<char*> Pointers(std::vector<std::string>& texts) {
  std::vector<char*> pointers;
  for (auto& text : texts) pointers.push_back(text.data());
  pointers.push_back(nullptr);
  return pointers;
}

std::vector<std::string> Environment(const Account& account, const StringMap& added) {
  StringMap variables{{"PATH", "/usr/local/sbin:/usr/local/bin:/usr/sbin:/usr/bin:/sbin:/bin"},
                      {"LANG", "C.UTF-8"},
                      {"HOME", account.home},
                      {"USER", account.name},
                      {"LOGNAME", account.name},
                      {"SHELL", account.shell}};
  for (const auto& [name, value] : added) variables[name] = value;
  std::vector<std::string> texts;
  for (const auto& [name, value] : variables) texts.push_back(name + "=" + value);
  return texts;
}

/// Everything that the child needs between fork and exec, made before: it must not allocate there.
struct Launch {
  const ProcessRequest& request;
  const Account& account;
  std::vector<char*> arguments;
  std::vector<char*> environment;
  int output;
  int report;
  pid_t parent;
};

/// The step at which a child failed before exec, as it travels through the report pipe.
struct Failure {
  int error;
  char step[16];
};

[[noreturn]] void ReportFailure(const Launch& launch, const char* step) {
  Failure failure{errno, {}};
  std::strncpy(failure.step, step, sizeof failure.step - 1);
  [[maybe_unused]] const auto written = write(launch.report, &failure, sizeof failure);
  _exit(kNotStarted);
}

void ConnectDescriptors(const Launch& launch) {
  const int null = open("/dev/null", O_RDWR);
  const int out = launch.request.capture_output ? launch.output : null;
  const int errors = launch.request.capture_errors ? launch.output : null;
  if (null < 0 || dup2(null, 0) < 0 || dup2(out, 1) < 0 || dup2(errors, 2) < 0) {
    ReportFailure(launch, "redirect");
  }
}

/// Group, then user, then nothing of the old rights is left.
void BecomeUser(const Launch& launch) {
  const auto& account = launch.account;
  if (launch.request.user.empty()) return;
  if (setgroups(account.groups.size(), account.groups.data()) != 0 ||
      setresgid(account.gid, account.gid, account.gid) != 0 ||
      setresuid(account.uid, account.uid, account.uid) != 0) {
    ReportFailure(launch, "set user");
  }
}

void ResetSignals() {
  for (int signal = 1; signal < NSIG; ++signal) std::signal(signal, SIG_DFL);
  sigset_t none;
  sigemptyset(&none);
  sigprocmask(SIG_SETMASK, &none, nullptr);
}

[[noreturn]] void RunChild(const Launch& launch) {
  if (launch.request.own_group) setpgid(0, 0);
  ConnectDescriptors(launch);
  BecomeUser(launch);
  // After the change of user, which clears it. Ends a child whose parent was killed.
  prctl(PR_SET_PDEATHSIG, SIGTERM);
  if (getppid() != launch.parent) _exit(kNotStarted);
  if (chdir(launch.request.dir.c_str()) != 0) ReportFailure(launch, "chdir");
  umask(022);
  ResetSignals();
  // All but the report pipe go; that one closes itself on exec.
  if (dup2(launch.report, 3) < 0 || fcntl(3, F_SETFD, FD_CLOEXEC) != 0) _exit(kNotStarted);
  syscall(SYS_close_range, 4U, ~0U, 0);
  Launch moved = launch;
  moved.report = 3;
  execvpe(launch.arguments[0], launch.arguments.data(), launch.environment.data());
  ReportFailure(moved, "exec");
}

/// Collects output up to the limit and counts the rest.
class Output {
 public:
  /// Reads once. False at the end.
  bool ReadFrom(int fd) {
    std::array<char, 1 << 16> piece;
    const auto size = read(fd, piece.data(), piece.size());
    if (size < 0) return errno == EINTR || errno == EAGAIN;
    const auto got = static_cast<std::size_t>(size);
    const auto kept = std::min(got, kOutputLimit - text_.size());
    text_.append(piece.data(), kept);
    dropped_ += got - kept;
    return got > 0;
  }

  void AddLine(const std::string& line) {
    if (!text_.empty() && text_.back() != '\n') text_ += '\n';
    text_ += line + "\n";
  }

  std::string Take() {
    if (dropped_ > 0) AddLine("[" + std::to_string(dropped_) + " more bytes]");
    return std::move(text_);
  }

 private:
  std::string text_;
  std::size_t dropped_ = 0;
};

/// A child that was started.
class Child {
 public:
  Child(pid_t pid, bool own_group)
      : pid_(pid),
        own_group_(own_group),
        watch_(static_cast<int>(syscall(SYS_pidfd_open, pid, 0))) {}

  /// Reads its output to the end, and waits for the child.
  int Follow(const Descriptor& pipe, Output& output) {
    bool open = true;
    while (open) {
      std::array<pollfd, 3> events{{{pipe.get(), POLLIN, 0},
                                    {ended_ ? -1 : watch_.get(), POLLIN, 0},
                                    {asked_ ? -1 : EndAskedDescriptor(), POLLIN, 0}}};
      const int ready = poll(events.data(), events.size(), Limit());
      if (ready == 0 && ended_) break;
      if (ready == 0) Signal(SIGKILL);
      if (events[0].revents != 0) open = output.ReadFrom(pipe.get());
      if (events[1].revents != 0) ended_ = true;
      if (events[2].revents != 0) AskToEnd();
    }
    return Wait();
  }

 private:
  int Limit() const {
    if (ended_) return kDrainMilliseconds;
    return asked_ ? kEndMilliseconds : -1;
  }

  void AskToEnd() {
    asked_ = true;
    Signal(SIGTERM);
  }

  void Signal(int signal) const { kill(own_group_ ? -pid_ : pid_, signal); }

  /// The output may be closed long before the child ends.
  int Wait() {
    while (!ended_) {
      std::array<pollfd, 2> events{
          {{watch_.get(), POLLIN, 0}, {asked_ ? -1 : EndAskedDescriptor(), POLLIN, 0}}};
      if (poll(events.data(), events.size(), Limit()) == 0) Signal(SIGKILL);
      ended_ = events[0].revents != 0;
      if (events[1].revents != 0) AskToEnd();
    }
    int status = 0;
    while (waitpid(pid_, &status, 0) < 0 && errno == EINTR) {
    }
    return status;
  }

  pid_t pid_;
  bool own_group_;
  bool ended_ = false;
  bool asked_ = false;
  Descriptor watch_;
};

ProcessOutcome NotStarted(const std::string& program, const std::string& why) {
  return {"cannot run '" + program + "': " + why + "\n", kNotStarted};
}

ProcessOutcome Ended(int status, Output output) {
  if (WIFSIGNALED(status)) {
    const int signal = WTERMSIG(status);
    output.AddLine(std::string("ended by signal ") + sigabbrev_np(signal));
    return {output.Take(), 128 + signal};
  }
  return {output.Take(), WEXITSTATUS(status)};
}

class LinuxProcesses : public Processes {
 public:
  ProcessOutcome Run(const ProcessRequest& request) override {
    const auto& program = request.arguments.front();
    if (EndAsked()) return NotStarted(program, "this job was told to end");
    const auto account = FindAccount(request.user);
    if (!account) return NotStarted(program, "there is no user '" + request.user + "'");
    auto arguments = request.arguments;
    auto environment = Environment(*account, request.env);
    std::array<int, 2> out{};
    std::array<int, 2> report{};
    if (pipe2(out.data(), O_CLOEXEC) != 0) return NotStarted(program, std::strerror(errno));
    Descriptor out_read(out[0]);
    Descriptor out_write(out[1]);
    if (pipe2(report.data(), O_CLOEXEC) != 0) return NotStarted(program, std::strerror(errno));
    Descriptor report_read(report[0]);
    Descriptor report_write(report[1]);
    const Launch launch{request,   *account, Pointers(arguments), Pointers(environment), out[1],
                        report[1], getpid()};
    const pid_t pid = fork();
    if (pid < 0) return NotStarted(program, std::strerror(errno));
    if (pid == 0) RunChild(launch);
    if (request.own_group) setpgid(pid, pid);
    out_write.Close();
    report_write.Close();
    Child child(pid, request.own_group);
    Failure failure{};
    const bool failed = read(report_read.get(), &failure, sizeof failure) == sizeof failure;
    Output output;
    const int status = child.Follow(out_read, output);
    if (failed) {
      return NotStarted(program, std::string(failure.step) + ": " + std::strerror(failure.error));
    }
    return Ended(status, std::move(output));
  }
};

}  // namespace

std::shared_ptr<Processes> MakeProcesses() {
  return std::make_shared<LinuxProcesses>();
}

}  // namespace trel_seam
