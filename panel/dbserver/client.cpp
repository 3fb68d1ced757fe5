#include "panel/dbserver/client.h"

#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <sys/socket.h>
#include <sys/wait.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <system_error>
#include <utility>

#include "panel/error.h"
#include "trel/str.h"

namespace panel::dbserver {
namespace {

constexpr std::size_t kMaxWords = 16384;

[[noreturn]] void Fail(const std::string& name, int error) {
  throw Error("system", "program", name, name + ": " + std::generic_category().message(error));
}

struct Pair {
  Descriptor ours;
  Descriptor theirs;
};

// Sockets rather than pipes: a write to one can fail without a signal.
Pair MakePair(const std::string& name) {
  std::array<int, 2> ends{};
  if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends.data()) != 0) {
    Fail(name, errno);
  }
  return {Descriptor(ends[0]), Descriptor(ends[1])};
}

// The program as it starts: three descriptors, no signal blocked or ignored.
class SpawnSetup {
 public:
  SpawnSetup(int input, int output, int errors) {
    posix_spawn_file_actions_init(&files_);
    posix_spawn_file_actions_adddup2(&files_, input, STDIN_FILENO);
    posix_spawn_file_actions_adddup2(&files_, output, STDOUT_FILENO);
    posix_spawn_file_actions_adddup2(&files_, errors, STDERR_FILENO);
    posix_spawn_file_actions_addclosefrom_np(&files_, STDERR_FILENO + 1);
    posix_spawnattr_init(&attributes_);
    sigset_t signals;
    sigemptyset(&signals);
    posix_spawnattr_setsigmask(&attributes_, &signals);
    sigaddset(&signals, SIGPIPE);
    posix_spawnattr_setsigdefault(&attributes_, &signals);
    posix_spawnattr_setflags(&attributes_, POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF);
  }
  SpawnSetup(const SpawnSetup&) = delete;
  SpawnSetup& operator=(const SpawnSetup&) = delete;
  ~SpawnSetup() {
    posix_spawn_file_actions_destroy(&files_);
    posix_spawnattr_destroy(&attributes_);
  }

  const posix_spawn_file_actions_t* files() const { return &files_; }
  const posix_spawnattr_t* attributes() const { return &attributes_; }

 private:
  posix_spawn_file_actions_t files_{};
  posix_spawnattr_t attributes_{};
};

std::vector<std::string> WithRights(const ClientCommand& command) {
  std::vector<std::string> arguments = {"setpriv", "--pdeathsig=KILL"};
  if (command.account) {
    arguments.insert(arguments.end(), {"--reuid=" + command.account->name,
                                       "--regid=" + std::to_string(command.account->gid),
                                       "--init-groups", "--no-new-privs"});
  }
  arguments.push_back("--");
  arguments.insert(arguments.end(), command.arguments.begin(), command.arguments.end());
  return arguments;
}

std::vector<char*> Pointers(std::vector<std::string>& texts) {
  std::vector<char*> pointers;
  pointers.reserve(texts.size() + 1);
  for (std::string& text : texts) {
    pointers.push_back(text.data());
  }
  pointers.push_back(nullptr);
  return pointers;
}

std::string HowItEnded(int status) {
  return WIFSIGNALED(status) ? "ended by signal " + std::to_string(WTERMSIG(status))
                             : "ended with status " + std::to_string(WEXITSTATUS(status));
}

// Until the last writer closes it; the last words tell why it ended.
void Collect(const Descriptor& from, std::string& words) {
  std::array<char, 4096> buffer{};
  ssize_t size = 0;
  while ((size = read(from.get(), buffer.data(), buffer.size())) > 0) {
    words.append(buffer.data(), static_cast<std::size_t>(size));
    words.erase(0, words.size() - std::min(words.size(), kMaxWords));
  }
}

}  // namespace

Client::Client(const ClientCommand& command, Pipe pipe)
    : name_(command.arguments.front()), pipe_(-1) {
  Pair data = MakePair(name_);
  Pair errors = MakePair(name_);
  const Descriptor null(open("/dev/null", O_RDWR | O_CLOEXEC));
  const bool input = pipe == Pipe::kInput;
  Spawn(command, input ? data.theirs.get() : null.get(), input ? null.get() : data.theirs.get(),
        errors.theirs.get());
  std::swap(pipe_, data.ours);
  listener_ = std::jthread([this, from = std::move(errors.ours)] { Collect(from, words_); });
}

void Client::Spawn(const ClientCommand& command, int input, int output, int errors) {
  const SpawnSetup setup(input, output, errors);
  std::vector<std::string> arguments = WithRights(command);
  std::vector<std::string> environment = command.environment;
  environment.insert(environment.end(), {"PATH=/usr/sbin:/usr/bin:/sbin:/bin", "LC_ALL=C.UTF-8"});
  const int error =
      posix_spawnp(&pid_, arguments.front().c_str(), setup.files(), setup.attributes(),
                   Pointers(arguments).data(), Pointers(environment).data());
  if (error != 0) {
    pid_ = -1;
    Fail(name_, error);
  }
}

Client::~Client() {
  if (pid_ > 0) {
    kill(pid_, SIGKILL);
    Wait();
  }
}

bool Client::Write(std::string_view bytes) {
  while (!bytes.empty()) {
    const ssize_t sent = send(pipe_.get(), bytes.data(), bytes.size(), MSG_NOSIGNAL);
    if (sent < 0 && errno != EINTR) {
      return false;
    }
    bytes.remove_prefix(static_cast<std::size_t>(std::max<ssize_t>(sent, 0)));
  }
  return true;
}

std::size_t Client::Read(std::span<char> buffer) {
  while (true) {
    const ssize_t size = read(pipe_.get(), buffer.data(), buffer.size());
    if (size >= 0) {
      return static_cast<std::size_t>(size);
    }
    if (errno != EINTR) {
      Fail(name_, errno);
    }
  }
}

int Client::Wait() {
  int status = 0;
  while (waitpid(pid_, &status, 0) < 0 && errno == EINTR) {
  }
  pid_ = -1;
  listener_.join();
  return status;
}

void Client::Finish(const std::string& object, const std::string& what) {
  shutdown(pipe_.get(), SHUT_WR);
  const int status = Wait();
  if (status != 0) {
    throw Error("system", object, "",
                what + ": " + name_ + " " + HowItEnded(status) + ": " + str::Trim(words_));
  }
}

}  // namespace panel::dbserver
