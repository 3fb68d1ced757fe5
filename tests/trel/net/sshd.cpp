#include "sshd.h"

#include <signal.h>
#include <spawn.h>
#include <sys/stat.h>
#include <sys/wait.h>

#include <filesystem>
#include <stdexcept>

#include "seam/seam.h"

namespace net_test {
namespace {

constexpr char kProgram[] = "/usr/sbin/sshd";

/// Starts an sshd that serves the connection `socket`.
pid_t Spawn(int socket, const std::string& configuration, const std::string& log) {
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_adddup2(&actions, socket, 0);
  posix_spawn_file_actions_adddup2(&actions, socket, 1);
  std::string words[] = {kProgram, "-i", "-f", configuration, "-E", log};
  std::vector<char*> arguments;
  for (auto& word : words) arguments.push_back(word.data());
  arguments.push_back(nullptr);
  pid_t pid = -1;
  const int error = posix_spawn(&pid, kProgram, &actions, nullptr, arguments.data(), environ);
  posix_spawn_file_actions_destroy(&actions);
  if (error != 0) throw std::runtime_error("sshd could not be started");
  return pid;
}

}  // namespace

Sshd::Sshd(const std::string& settings, int family) : listener_(family) {
  // The directory that sshd empties itself into belongs to the system and may stay.
  std::filesystem::create_directory("/run/sshd");
  MakeKey(scratch_.Path("client"));
  std::filesystem::copy(scratch_.Path("client.pub"), scratch_.Path("authorized_keys"));
  NewHostKey();
  scratch_.Write("config", settings + "\nHostKey " + scratch_.Path("host") +
                               "\nAuthorizedKeysFile " + scratch_.Path("authorized_keys") +
                               "\nStrictModes no\nUsePAM yes\nPermitRootLogin yes\nSetEnv HOME=" +
                               scratch_.Path("") + "\n");
  server_ = std::thread([this] { Serve(); });
}

Sshd::~Sshd() {
  listener_.Stop();
  server_.join();
  Kill();
}

void Sshd::NewHostKey(const std::string& type) {
  MakeKey(scratch_.Path("new"), "-N '' -t " + type);
  std::filesystem::rename(scratch_.Path("new"), scratch_.Path("host"));
}

void Sshd::Serve() {
  while (const auto socket = listener_.Accept()) {
    const std::lock_guard lock(mutex_);
    sessions_.push_back(Spawn(socket.get(), scratch_.Path("config"), scratch_.Path("log")));
  }
}

void Sshd::Kill() {
  const std::lock_guard lock(mutex_);
  for (const pid_t session : sessions_) kill(session, SIGKILL);
  WaitForSessions();
}

std::string Sshd::Log() {
  const std::lock_guard lock(mutex_);
  WaitForSessions();
  return ReadFile(scratch_.Path("log"));
}

void Sshd::WaitForSessions() {
  for (const pid_t session : sessions_) waitpid(session, nullptr, 0);
  sessions_.clear();
}

trel_seam::Conf Sshd::conf() const {
  trel_seam::Conf conf;
  conf.known_hosts = scratch_.Path("known/hosts");
  return conf;
}

trel_seam::SshTarget Sshd::target() const {
  trel_seam::SshTarget target;
  target.host = "127.0.0.1";
  target.port = port();
  target.login = "root";
  target.by_key = true;
  target.key = key_file();
  return target;
}

std::unique_ptr<trel_seam::SshConnection> Sshd::Connect() const {
  return trel_seam::MakeSsh(conf())->Connect(target());
}

trel_seam::SshOutcome RunOver(trel_seam::SshConnection& connection, const std::string& command,
                              const std::string& input) {
  connection.Start(command);
  return connection.Finish(input, false);
}

void MakeKey(const std::string& path, const std::string& options) {
  std::filesystem::remove(path);
  std::filesystem::remove(path + ".pub");
  Shell("ssh-keygen -q -f " + path + " " + options);
}

}  // namespace net_test
