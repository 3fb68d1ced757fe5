#include "process_start.h"

#include <fcntl.h>
#include <grp.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <optional>

namespace trel_seam {
namespace {

constexpr int kFirstBeyondStandard = 3;

/// Everything that the child needs between fork and exec. Plain values, made before: another
/// thread may hold the heap's lock at the moment of the fork, so the child never allocates.
struct Launch {
  char* const* arguments;
  char* const* environment;
  const char* dir;
  const Account* user;  ///< null: as ourselves
  bool capture_output;
  bool capture_errors;
  bool own_group;
  int output;
  int report;
  pid_t parent;
};

/// The step at which a child failed before exec, as it travels through the report pipe. The name
/// of the step is a literal, which stands at the same address in both processes.
struct Failure {
  int error;
  const char* step;
};

[[noreturn]] void ReportFailure(const Launch& launch, const char* step) {
  const Failure failure{errno, step};
  [[maybe_unused]] const auto written = write(launch.report, &failure, sizeof failure);
  _exit(1);
}

/// A process that was started without standard descriptors gets its pipes in their places.
int MoveBeyondStandard(int fd) {
  return fcntl(fd, F_DUPFD_CLOEXEC, kFirstBeyondStandard);
}

void ConnectDescriptors(Launch& launch) {
  const int report = MoveBeyondStandard(launch.report);
  if (report < 0) ReportFailure(launch, "redirect");
  launch.report = report;
  const int output = MoveBeyondStandard(launch.output);
  const int null = MoveBeyondStandard(open("/dev/null", O_RDWR | O_CLOEXEC));
  if (output < 0 || null < 0 || dup2(null, STDIN_FILENO) < 0 ||
      dup2(launch.capture_output ? output : null, STDOUT_FILENO) < 0 ||
      dup2(launch.capture_errors ? output : null, STDERR_FILENO) < 0) {
    ReportFailure(launch, "redirect");
  }
}

/// Everything goes but the report pipe, which exec closes.
void CloseOtherDescriptors(const Launch& launch) {
  const auto report = static_cast<unsigned>(launch.report);
  if ((report > kFirstBeyondStandard &&
       syscall(SYS_close_range, kFirstBeyondStandard, report - 1, 0) != 0) ||
      syscall(SYS_close_range, report + 1, ~0U, 0) != 0) {
    ReportFailure(launch, "close descriptors");
  }
}

/// Groups, then user: afterwards nothing of the old rights is left.
void BecomeUser(const Launch& launch) {
  if (launch.user == nullptr) return;
  const auto& account = *launch.user;
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

[[noreturn]] void RunChild(Launch launch) {
  ConnectDescriptors(launch);
  CloseOtherDescriptors(launch);
  if (launch.own_group) setpgid(0, 0);
  BecomeUser(launch);
  // After the change of user, which clears it. Ends a child whose parent was killed.
  prctl(PR_SET_PDEATHSIG, SIGTERM);
  if (getppid() != launch.parent) _exit(1);
  if (chdir(launch.dir) != 0) ReportFailure(launch, "chdir");
  umask(022);
  ResetSignals();
  // The program is looked up in the PATH that the child gets, not in ours.
  environ = const_cast<char**>(launch.environment);
  execvp(launch.arguments[0], launch.arguments);
  ReportFailure(launch, "exec");
}

/// Holds all signals back. A signal for the child that comes before its exec would otherwise be
/// swallowed by our own handlers, which it still has then.
class SignalsHeld {
 public:
  SignalsHeld() {
    sigset_t all;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &before_);
  }
  ~SignalsHeld() { pthread_sigmask(SIG_SETMASK, &before_, nullptr); }
  SignalsHeld(const SignalsHeld&) = delete;
  SignalsHeld& operator=(const SignalsHeld&) = delete;

 private:
  sigset_t before_;
};

struct Pipe {
  Descriptor read;
  Descriptor write;
};

Pipe MakePipe() {
  std::array<int, 2> ends{};
  if (pipe2(ends.data(), O_CLOEXEC) != 0) throw StartFailure("pipe", errno);
  return {Descriptor(ends[0]), Descriptor(ends[1])};
}

/// Pointers into texts that outlive it, in the form that exec takes.
std::vector<char*> PointersTo(std::vector<std::string>& texts) {
  std::vector<char*> pointers;
  pointers.reserve(texts.size() + 1);
  for (auto& text : texts) pointers.push_back(text.data());
  pointers.push_back(nullptr);
  return pointers;
}

pid_t Fork(const Launch& launch) {
  const SignalsHeld held;
  const pid_t pid = fork();
  if (pid < 0) throw StartFailure("fork", errno);
  if (pid == 0) RunChild(launch);
  // Both sides set the group, so that it is there for whoever comes first.
  if (launch.own_group) setpgid(pid, pid);
  return pid;
}

/// What the child reports; none when its program runs, which closed the pipe.
std::optional<Failure> ReadReport(const Descriptor& report) {
  Failure failure{};
  const auto size = TEMP_FAILURE_RETRY(read(report.get(), &failure, sizeof failure));
  if (size != sizeof failure) return std::nullopt;
  return failure;
}

[[noreturn]] void GiveUp(pid_t pid, const std::string& step, int error) {
  kill(pid, SIGKILL);
  TEMP_FAILURE_RETRY(waitpid(pid, nullptr, 0));
  throw StartFailure(step, error);
}

}  // namespace

StartedChild StartChild(const ProcessRequest& request, const Account& account) {
  auto arguments = request.arguments;
  auto environment = MakeEnvironment(account, request.env);
  auto output = MakePipe();
  auto report = MakePipe();
  const pid_t pid = Fork({.arguments = PointersTo(arguments).data(),
                          .environment = PointersTo(environment).data(),
                          .dir = request.dir.c_str(),
                          .user = request.user.empty() ? nullptr : &account,
                          .capture_output = request.capture_output,
                          .capture_errors = request.capture_errors,
                          .own_group = request.own_group,
                          .output = output.write.get(),
                          .report = report.write.get(),
                          .parent = getpid()});
  Descriptor watch(static_cast<int>(syscall(SYS_pidfd_open, pid, 0)));
  if (!watch && errno != ENOSYS) GiveUp(pid, "watch", errno);
  report.write.Close();
  if (const auto failure = ReadReport(report.read)) GiveUp(pid, failure->step, failure->error);
  return {pid, std::move(watch), std::move(output.read)};
}

}  // namespace trel_seam
