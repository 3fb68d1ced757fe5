#include <sys/socket.h>
#include <sys/stat.h>

#include <filesystem>

#include "seam/seam.h"
#include "ssh_failure.h"
#include "sshd.h"

namespace net_test {
namespace {

using trel_seam::Conf;
using trel_seam::SshStep;
using trel_seam::SshTarget;

std::string Address(const SshTarget& target, const Conf& conf) {
  return RunOver(*trel_seam::MakeSsh(conf)->Connect(target), "echo ${SSH_CONNECTION%% *}").output;
}

TEST(SshConnect, TakesANameOrAnAddress) {
  const Sshd sshd;
  auto target = sshd.target();
  EXPECT_EQ(Address(target, sshd.conf()), "127.0.0.1\n");
  target.host = "localhost";
  EXPECT_EQ(Address(target, sshd.conf()), "127.0.0.1\n");
}

TEST(SshConnect, TakesAnIpv6AddressWithAndWithoutBrackets) {
  const Sshd sshd("", AF_INET6);
  auto target = sshd.target();
  for (const auto* host : {"::1", "[::1]"}) {
    target.host = host;
    EXPECT_EQ(Address(target, sshd.conf()), "::1\n") << host;
  }
  EXPECT_EQ(ReadFile(sshd.conf().known_hosts).find("[::1]:" + std::to_string(sshd.port()) + " "),
            0U);
}

TEST(SshConnect, TakesItsLeaveOfTheHost) {
  Sshd sshd;
  sshd.Connect();
  EXPECT_NE(sshd.Log().find("Received disconnect from 127.0.0.1"), std::string::npos);
}

/// The failure to connect to `host` at `port`.
CaughtSsh Refusal(const std::string& host, int port) {
  const Scratch scratch;
  Conf conf;
  conf.known_hosts = scratch.Path("known_hosts");
  SshTarget target;
  target.host = host;
  target.port = port;
  target.login = "alice";
  target.password = "hunter2";
  const auto failure = SshFailureOf([&] { trel_seam::MakeSsh(conf)->Connect(target); });
  EXPECT_EQ(failure.text.find("hunter2"), std::string::npos);
  return failure;
}

TEST(SshConnect, NamesWhatRefusesTheConnection) {
  for (const std::string host : {"127.0.0.1", "::1", "[::1]"}) {
    const bool is_ipv4 = host == "127.0.0.1";
    const int port = Listener(is_ipv4 ? AF_INET : AF_INET6).port();
    const auto failure = Refusal(host, port);
    EXPECT_EQ(failure.step, SshStep::kConnect);
    EXPECT_EQ(failure.text,
              (is_ipv4 ? "127.0.0.1:" : "[::1]:") + std::to_string(port) + ": connection refused");
  }
}

TEST(SshConnect, NamesAHostThatHasNoAddress) {
  const auto failure = Refusal("nowhere.invalid", 22);
  EXPECT_EQ(failure.step, SshStep::kConnect);
  EXPECT_EQ(failure.text.find("nowhere.invalid:22: failed to resolve hostname"), 0U)
      << failure.text;
}

TEST(SshConnect, RefusesWhatIsNoHostName) {
  EXPECT_EQ(Refusal("bad;name", 22).step, SshStep::kConnect);
  EXPECT_EQ(Refusal("127.0.0.1", 0).step, SshStep::kConnect);
  EXPECT_EQ(Refusal("[;]", 22).text.substr(0, 6), ";:22: ");
}

TEST(SshConnect, NamesAPeerThatIsNoSshServer) {
  RawServer server({[](Wire& wire) { wire.Send("HTTP/1.1 400 Bad Request\r\n\r\n"); }});
  const auto failure = Refusal("127.0.0.1", server.port());
  EXPECT_EQ(failure.step, SshStep::kConnect);
  EXPECT_EQ(failure.text.find(server.place() + ": "), 0U) << failure.text;
}

class SshHostKey : public testing::Test {
 protected:
  void Connect() { trel_seam::MakeSsh(conf_)->Connect(sshd_.target()); }
  CaughtSsh Refusal() {
    return SshFailureOf([this] { Connect(); });
  }
  std::string Known() const { return ReadFile(conf_.known_hosts); }
  /// Writes the file of known hosts.
  void SetKnown(const std::string& text) {
    std::filesystem::create_directory(sshd_.scratch().Path("known"));
    sshd_.scratch().Write("known/hosts", text);
  }
  /// "[127.0.0.1]:PORT".
  std::string Name() const { return "[127.0.0.1]:" + std::to_string(sshd_.port()); }
  /// The host's key as ssh-keygen shows it, and as a line of known hosts has it.
  std::string Fingerprint() const {
    return Shell("ssh-keygen -lf " + sshd_.scratch().Path("host") + " | cut -d' ' -f2");
  }
  std::string Line() const {
    return Name() + " " + Shell("ssh-keygen -yf " + sshd_.scratch().Path("host")) + "\n";
  }

  Sshd sshd_;
  Conf conf_ = sshd_.conf();
};

TEST_F(SshHostKey, IsRememberedOnce) {
  Connect();
  Connect();
  EXPECT_EQ(Known(), Shell("ssh-keygen -yf " + sshd_.scratch().Path("host") +
                           " | cut -d' ' -f1,2 | sed 's/^/" + Name() + " /'") +
                         "\n");
}

TEST_F(SshHostKey, IsRememberedWhereTheSystemsClientMayReadIt) {
  const auto old = umask(0077);
  conf_.known_hosts = sshd_.scratch().Path("a/b/hosts");
  Connect();
  umask(old);
  EXPECT_EQ(ModeOf(sshd_.scratch().Path("a")), 0755U);
  EXPECT_EQ(ModeOf(sshd_.scratch().Path("a/b")), 0755U);
  EXPECT_EQ(ModeOf(conf_.known_hosts), 0644U);
}

TEST_F(SshHostKey, IsReadByTheSystemsClient) {
  Connect();
  EXPECT_EQ(Shell("ssh -F /dev/null -n -o BatchMode=yes -o StrictHostKeyChecking=yes"
                  " -o UserKnownHostsFile=" +
                  conf_.known_hosts + " -i " + sshd_.key_file() + " -p " +
                  std::to_string(sshd_.port()) + " root@127.0.0.1 echo in 2>&1"),
            "in");
}

TEST_F(SshHostKey, IsAddedToAFileAsItIs) {
  SetKnown("# mine\nother.example ssh-ed25519 AAAA");
  Connect();
  EXPECT_EQ(Known().find("# mine\nother.example ssh-ed25519 AAAA\n" + Name() + " "), 0U) << Known();
  EXPECT_EQ(ModeOf(conf_.known_hosts), 0600U);
  Connect();
}

TEST_F(SshHostKey, IsALineOfItsOwnBehindAnUnfinishedOne) {
  SetKnown("#");
  Connect();
  EXPECT_EQ(Known().find("#\n" + Name() + " "), 0U) << Known();
}

TEST_F(SshHostKey, IsRefusedWhenItChanged) {
  Connect();
  SetKnown("# mine\n\n" + Known());
  sshd_.NewHostKey();
  const auto before = Known();
  const auto failure = Refusal();
  EXPECT_EQ(failure.step, SshStep::kHostKey);
  EXPECT_EQ(failure.text, sshd_.place() + ": the host key has changed: it is now ssh-ed25519 " +
                              Fingerprint() + ", see " + conf_.known_hosts + ":3");
  EXPECT_EQ(Known(), before);
}

TEST_F(SshHostKey, IsRefusedWhenItIsOfAnotherType) {
  sshd_.NewHostKey("ecdsa");
  SetKnown("other.example ssh-ed25519 AAAA\n" + Line());
  sshd_.NewHostKey("ed25519");
  const auto failure = Refusal();
  EXPECT_EQ(failure.step, SshStep::kHostKey);
  EXPECT_EQ(failure.text, sshd_.place() +
                              ": the host key is of another type than the known one: it is now "
                              "ssh-ed25519 " +
                              Fingerprint() + ", see " + conf_.known_hosts + ":2");
}

TEST_F(SshHostKey, NamesTheLineOfItsOwnType) {
  sshd_.NewHostKey("ecdsa");
  const auto ecdsa = Line();
  sshd_.NewHostKey("ed25519");
  SetKnown(ecdsa + Line());
  sshd_.NewHostKey("ed25519");
  EXPECT_NE(Refusal().text.find(conf_.known_hosts + ":2"), std::string::npos) << Refusal().text;
}

TEST_F(SshHostKey, IsRefusedWhenUnknownAndStrict) {
  conf_.strict_host_keys = true;
  const auto failure = Refusal();
  EXPECT_EQ(failure.step, SshStep::kHostKey);
  EXPECT_EQ(failure.text, sshd_.place() + ": the host key ssh-ed25519 " + Fingerprint() +
                              " is not in " + conf_.known_hosts);
  EXPECT_FALSE(std::filesystem::exists(conf_.known_hosts));
}

TEST_F(SshHostKey, IsAcceptedWhenKnownAndStrict) {
  SetKnown(Line());
  conf_.strict_host_keys = true;
  Connect();
}

TEST_F(SshHostKey, IsAddedBesideAMalformedOne) {
  const auto malformed = Name() + " ssh-ed25519 AAAA\n";
  SetKnown(malformed);
  Connect();
  EXPECT_EQ(Known().find(malformed + Name() + " ssh-ed25519 AAAAC3"), 0U) << Known();
}

TEST_F(SshHostKey, NamesAFileThatCannotBeMade) {
  conf_.known_hosts = sshd_.scratch().Write("file", "") + "/known_hosts";
  const auto failure = Refusal();
  EXPECT_EQ(failure.step, SshStep::kHostKey);
  EXPECT_EQ(failure.text, sshd_.place() + ": the host key cannot be remembered in " +
                              conf_.known_hosts + ": not a directory");
}

TEST_F(SshHostKey, NamesAPlaceWhereNothingCanBeMade) {
  for (const auto* path : {"/sys/known_hosts", "/sys/ssh/known_hosts"}) {
    conf_.known_hosts = path;
    const auto text = Refusal().text;
    const auto beginning = sshd_.place() + ": the host key cannot be remembered in " + path + ": ";
    EXPECT_EQ(text.substr(0, beginning.size()), beginning);
    // Which of its several reasons the system gives is its own affair.
    EXPECT_EQ(text.find("no such file"), std::string::npos) << text;
  }
}

TEST_F(SshHostKey, NamesAFileThatCannotBeWritten) {
  conf_.known_hosts = sshd_.scratch().Path("");
  EXPECT_EQ(Refusal().text.find(sshd_.place() + ": the host key cannot be remembered in "), 0U)
      << Refusal().text;
}

TEST_F(SshHostKey, NamesAFileOnAFullDisk) {
  std::filesystem::create_directory(sshd_.scratch().Path("known"));
  std::filesystem::create_symlink("/dev/full", conf_.known_hosts);
  EXPECT_EQ(Refusal().text, sshd_.place() + ": the host key cannot be remembered in " +
                                conf_.known_hosts + ": no space left on device");
}

}  // namespace
}  // namespace net_test
