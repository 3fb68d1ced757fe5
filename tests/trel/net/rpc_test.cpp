#include "trel/trel_rpc.h"

#include <csignal>
#include <memory>
#include <vector>

#include "framework_error.h"
#include "odd_ssh_server.h"
#include "seam/seam.h"
#include "sshd.h"

namespace net_test {
namespace {

using trel_rpc::SSHkey;
using trel_rpc::SSHpass;

class Ssh : public testing::Test {
 protected:
  Ssh() { trel_seam::Current().ssh = trel_seam::MakeSsh(sshd_.conf()); }
  ~Ssh() override { trel_seam::Current().ssh = trel_seam::MakeSsh(); }

  SSHkey Connect() { return {"127.0.0.1", "root", sshd_.key_file(), "", sshd_.port()}; }

  Sshd sshd_;
};

TEST_F(Ssh, GivesOutputAndStatusInAnyOrderAndMoreThanOnce) {
  auto ssh = Connect();
  ssh.Execute("echo out; exit 3");
  EXPECT_EQ(ssh.Result(), 3);
  EXPECT_EQ(ssh.Str(), "out\n");
  EXPECT_EQ(ssh.Str(), "out\n");
  EXPECT_EQ(ssh.Execute("echo next").Str(), "next\n");
  EXPECT_EQ(ssh.Result(), 0);
}

TEST_F(Ssh, SendsWhatWasWrittenToTheCommand) {
  auto ssh = Connect();
  ssh.Execute("cat");
  ssh.In() << "line " << 1 << std::endl;
  ssh.In() << "line 2";
  EXPECT_EQ(ssh.Str(), "line 1\nline 2");
}

TEST_F(Ssh, SendsTheInputWhenItIsClosed) {
  const auto path = sshd_.scratch().Path("copy");
  auto ssh = Connect();
  ssh.Execute("cat > " + path);
  ssh.In() << "text";
  ssh.CloseIn();
  ssh.CloseIn();
  EXPECT_EQ(ReadFile(path), "text");
  EXPECT_EQ(ssh.Result(), 0);
  EXPECT_EQ(FrameworkErrorOf([&] { ssh.In(); }).name,
            "assert: trel_rpc.h:0 In: the command's input has ended");
}

TEST_F(Ssh, WaitsForACommandBeforeTheNextOne) {
  const auto path = sshd_.scratch().Path("copy");
  auto ssh = Connect();
  ssh.Execute("cat > " + path).In() << "text";
  EXPECT_EQ(ssh.Execute("cat " + path).Str(), "text");
}

/// Notes of each command whether the caller ended its input.
class Recorder : public trel_seam::Ssh {
 public:
  std::unique_ptr<trel_seam::SshConnection> Connect(const trel_seam::SshTarget&) override {
    return std::make_unique<Connection>(ended);
  }

  std::vector<bool> ended;

 private:
  class Connection : public trel_seam::SshConnection {
   public:
    explicit Connection(std::vector<bool>& ended) : ended_(ended) {}
    void Start(const std::string&) override {}
    trel_seam::SshOutcome Finish(const std::string&, bool closed) override {
      ended_.push_back(closed);
      return {};
    }

   private:
    std::vector<bool>& ended_;
  };
};

TEST_F(Ssh, TellsWhetherTheCallerEndedTheInput) {
  const auto recorder = std::make_shared<Recorder>();
  trel_seam::Current().ssh = recorder;
  auto ssh = Connect();
  ssh.Execute("passed over").In() << "text";
  ssh.Execute("ended").CloseIn();
  ssh.Execute("waited for").Str();
  EXPECT_EQ(recorder->ended, (std::vector<bool>{false, true, false}));
}

TEST_F(Ssh, ReportsASignal) {
  auto ssh = Connect();
  EXPECT_EQ(ssh.Execute("kill -KILL $$").Result(), 128 + SIGKILL);
}

TEST_F(Ssh, HasNothingToSayBeforeTheFirstCommand) {
  auto ssh = Connect();
  EXPECT_THROW(ssh.In(), trel_err::AssertError);
  EXPECT_THROW(ssh.CloseIn(), trel_err::AssertError);
  EXPECT_THROW(ssh.Str(), trel_err::AssertError);
  EXPECT_THROW(ssh.Result(), trel_err::AssertError);
  EXPECT_EQ(FrameworkErrorOf([&] { ssh.Str(); }).name,
            "assert: trel_rpc.h:0 SSH: no command was started");
}

TEST_F(Ssh, TellsALostConnectionFromACommandThatFailed) {
  auto ssh = Connect();
  ssh.Execute("cat");
  sshd_.Kill();
  for (int i = 0; i < 2; ++i) {
    const auto error = FrameworkErrorOf([&] { ssh.Result(); });
    EXPECT_EQ(error.name, "ssh: lost: 127.0.0.1");
    EXPECT_EQ(error.message.find(sshd_.place() + ": connection lost: "), 0U) << error.message;
  }
  EXPECT_EQ(FrameworkErrorOf([&] { ssh.Execute("true"); }).name, "ssh: lost: 127.0.0.1");
}

TEST_F(Ssh, NamesTheStepThatFailed) {
  const auto key = sshd_.key_file();
  const auto name = [&](const std::string& host, const std::string& key_file, int port) {
    return FrameworkErrorOf([&] { SSHkey(host, "root", key_file, "", port); }).name;
  };
  const int closed = Listener().port();
  EXPECT_EQ(name("localhost", key, closed), "ssh: connect: localhost");
  EXPECT_EQ(name("[::1]", key, closed), "ssh: connect: [::1]");
  EXPECT_EQ(name("127.0.0.1", key + ".none", sshd_.port()), "ssh: key: 127.0.0.1");
  const auto other = sshd_.scratch().Path("other");
  MakeKey(other);
  EXPECT_EQ(name("127.0.0.1", other, sshd_.port()), "ssh: auth: 127.0.0.1");
  sshd_.NewHostKey();
  EXPECT_EQ(name("127.0.0.1", key, sshd_.port()), "ssh: hostkey: 127.0.0.1");
}

TEST_F(Ssh, SaysWhyInTheMessage) {
  const auto error =
      FrameworkErrorOf([&] { SSHkey("127.0.0.1", "root", "/none", "", sshd_.port()); });
  EXPECT_EQ(error.message, "private key /none: no such file or directory");
}

TEST_F(Ssh, LogsInWithAKeyAndItsPassphrase) {
  Shell("ssh-keygen -q -p -N secret -f " + sshd_.key_file());
  SSHkey ssh("127.0.0.1", "root", ReadFile(sshd_.key_file()), "secret", sshd_.port());
  EXPECT_EQ(ssh.Execute("echo in").Str(), "in\n");
}

TEST(SshPass, LogsInWithAPassword) {
  const Scratch scratch;
  trel_seam::Conf conf;
  conf.known_hosts = scratch.Path("known_hosts");
  trel_seam::Current().ssh = trel_seam::MakeSsh(conf);
  OddSshServer::Manner manner;
  manner.password = "hunter2";
  {
    const OddSshServer server(manner);
    SSHpass("127.0.0.1", "alice", "hunter2", server.port());
  }
  const OddSshServer other({});
  const auto error = FrameworkErrorOf([&] {
    conf.known_hosts += "2";
    trel_seam::Current().ssh = trel_seam::MakeSsh(conf);
    SSHpass("127.0.0.1", "alice", "hunter2", other.port());
  });
  EXPECT_EQ(error.name, "ssh: auth: 127.0.0.1");
  EXPECT_EQ(error.message.find("hunter2"), std::string::npos);
  trel_seam::Current().ssh = trel_seam::MakeSsh();
}

}  // namespace
}  // namespace net_test
