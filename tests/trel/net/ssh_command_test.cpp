#include <libssh/server.h>
#include <poll.h>

#include <csignal>

#include "client_sockets.h"
#include "odd_ssh_server.h"
#include "ssh_failure.h"
#include "sshd.h"

namespace net_test {
namespace {

using trel_seam::SshStep;

/// One sshd and one connection for the commands of a test.
class SshCommands : public testing::Test {
 protected:
  trel_seam::SshOutcome Run(const std::string& command, const std::string& input = "") {
    return RunOver(*connection_, command, input);
  }

  Sshd sshd_;
  std::unique_ptr<trel_seam::SshConnection> connection_ = sshd_.Connect();
};

TEST_F(SshCommands, GiveOutputAndStatus) {
  const auto outcome = Run("echo out; echo err >&2; exit 3");
  EXPECT_EQ(outcome.output, "out\n");
  EXPECT_EQ(outcome.status, 3);
}

TEST_F(SshCommands, GiveAnEmptyOutputForASilentOne) {
  const auto outcome = Run("true");
  EXPECT_EQ(outcome.output, "");
  EXPECT_EQ(outcome.status, 0);
}

TEST_F(SshCommands, GiveASingleByte) {
  EXPECT_EQ(Run("printf 1").output, "1");
}

TEST_F(SshCommands, TellASignalFromAStatus) {
  EXPECT_EQ(Run("kill -HUP $$").status, 128 + SIGHUP);
  EXPECT_EQ(Run("kill -KILL $$").status, 128 + SIGKILL);
  EXPECT_EQ(Run("kill -TERM $$").status, 128 + SIGTERM);
}

TEST_F(SshCommands, GetTheirInputAndItsEnd) {
  EXPECT_EQ(Run("cat; echo end", "some input\n").output, "some input\nend\n");
  EXPECT_EQ(Run("cat; echo end").output, "end\n");
}

TEST_F(SshCommands, PassMoreThanBothWindowsThroughAPipe) {
  std::string input(8 << 20, '\0');
  for (std::size_t i = 0; i < input.size(); ++i)
    input[i] = static_cast<char>(i * 2654435761U >> 24);
  const auto outcome = Run("cat", input);
  EXPECT_EQ(outcome.status, 0);
  EXPECT_TRUE(outcome.output == input);
}

TEST_F(SshCommands, AreNotHeldUpByInputThatTheyDoNotRead) {
  EXPECT_EQ(Run("exit 7", std::string(8 << 20, 'x')).status, 7);
}

TEST_F(SshCommands, MayEndInTheMiddleOfTheirInput) {
  const std::string input(16 << 20, 'x');
  for (int i = 0; i < 10; ++i)
    ASSERT_EQ(Run("head -c 5000000 >/dev/null; exit 7", input).status, 7);
}

TEST_F(SshCommands, AreNotHeldUpByAMegabyteOfErrors) {
  const auto outcome = Run("head -c 4000000 /dev/zero >&2; echo done");
  EXPECT_EQ(outcome.output, "done\n");
}

TEST_F(SshCommands, DoNotWaitForAChildInTheBackground) {
  const auto start = std::chrono::steady_clock::now();
  const auto outcome = Run("sleep 30 & echo $!");
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(20));
  EXPECT_EQ(outcome.status, 0);
  EXPECT_EQ(Run("kill " + outcome.output).status, 0);
}

TEST_F(SshCommands, DoNotWaitForAChildInTheBackgroundThatWrites) {
  // It goes on when nobody reads it any more.
  const auto outcome = Run("trap '' PIPE; while sleep 0.1; do echo x; done & echo $!; exit 4");
  EXPECT_EQ(outcome.status, 4);
  EXPECT_EQ(Run("kill " + outcome.output.substr(0, outcome.output.find('\n'))).status, 0);
}

TEST_F(SshCommands, RunByTheHundredOnOneConnection) {
  for (int i = 0; i < 100; ++i) {
    const auto outcome = Run("echo " + std::to_string(i));
    ASSERT_EQ(outcome.output, std::to_string(i) + "\n");
  }
  EXPECT_EQ(SocketsTo(sshd_.port()).size(), 1U);
}

TEST_F(SshCommands, MayBeFollowedByOthersWhenLeftUnfinished) {
  connection_->Start("cat");
  EXPECT_EQ(Run("echo next").output, "next\n");
}

TEST_F(SshCommands, AreLostWithTheConnection) {
  connection_->Start("tail -f --pid=$PPID /dev/null");  // ends with its sshd
  std::thread killer([this] { sshd_.Kill(); });
  const auto failure = SshFailureOf([this] { connection_->Finish("", true); });
  killer.join();
  EXPECT_EQ(failure.step, SshStep::kLost);
  EXPECT_EQ(failure.text.find(sshd_.place() + ": connection lost: "), 0U) << failure.text;
}

TEST_F(SshCommands, CannotStartOnALostConnection) {
  Run("true");
  sshd_.Kill();
  const auto failure = SshFailureOf([this] { Run("true"); });
  EXPECT_EQ(failure.step, SshStep::kLost);
  EXPECT_EQ(failure.text.find(sshd_.place() + ": connection lost: "), 0U) << failure.text;
  EXPECT_EQ(SshFailureOf([this] { Run("true"); }).text, sshd_.place() + ": the connection is gone");
}

TEST_F(SshCommands, MayNotWriteMoreThanTheLimit) {
  const auto failure = SshFailureOf([this] { Run("head -c 268435457 /dev/zero"); });
  EXPECT_EQ(failure.step, SshStep::kLost);
  EXPECT_EQ(failure.text, sshd_.place() + ": the output is larger than 256 MiB");
}

TEST_F(SshCommands, AreWaitedForOnlyOnceStarted) {
  EXPECT_EQ(SshFailureOf([this] { connection_->Finish("", true); }).text,
            sshd_.place() + ": no command runs");
}

TEST_F(SshCommands, AreWaitedForOnlyOnce) {
  EXPECT_EQ(Run("true").status, 0);
  EXPECT_EQ(SshFailureOf([this] { connection_->Finish("", true); }).text,
            sshd_.place() + ": no command runs");
}

TEST_F(SshCommands, RunOnAConnectionWhoseDeadPeerIsNoticed) {
  ExpectDeadPeerIsNoticed(sshd_.port());
}

TEST_F(SshCommands, AreSentWithoutWaitingForMore) {
  ExpectSmallPiecesAreSent(sshd_.port());
}

TEST(OddSshCommands, AreLostWhenTheChannelClosesWithoutAStatus) {
  OddSshServer::Manner manner;
  manner.run = [](ssh_session, ssh_channel channel) {
    ssh_channel_write(channel, "half", 4);
    ssh_channel_close(channel);
  };
  const OddSshServer server(manner);
  const auto connection = server.Connect();
  const auto failure = SshFailureOf([&] { RunOver(*connection, "x"); });
  EXPECT_EQ(failure.step, SshStep::kLost);
  EXPECT_EQ(failure.text, server.place() + ": the command ended without an exit status");
}

TEST(OddSshCommands, KeepOutputThatIsStillOnItsWay) {
  OddSshServer::Manner manner;
  manner.run = [](ssh_session session, ssh_channel channel) {
    char none = 0;
    while (ssh_channel_read(channel, &none, 1, 0) > 0) {
    }
    ssh_channel_request_send_exit_status(channel, 5);
    // The client takes the silence for the end, and asks.
    pollfd client{ssh_get_fd(session), POLLIN, 0};
    poll(&client, 1, 10'000);
    ssh_channel_write(channel, "late", 4);
    ssh_channel_close(channel);
  };
  const OddSshServer server(manner);
  const auto connection = server.Connect();
  const auto outcome = RunOver(*connection, "x");
  EXPECT_EQ(outcome.output, "late");
  EXPECT_EQ(outcome.status, 5);
}

TEST(OddSshCommands, AreLostWhenTheHostRefusesToRunThem) {
  const OddSshServer server({});
  const auto connection = server.Connect();
  const auto failure = SshFailureOf([&] { RunOver(*connection, "x"); });
  EXPECT_EQ(failure.step, SshStep::kLost);
  EXPECT_EQ(failure.text, server.place() + ": the host does not run the command");
}

TEST(OddSshCommands, ReportASignalThatThisSystemDoesNotKnow) {
  OddSshServer::Manner manner;
  manner.run = [](ssh_session, ssh_channel channel) {
    ssh_channel_request_send_exit_signal(channel, "LOST@example", 0, "", "");
    ssh_channel_send_eof(channel);
    ssh_channel_close(channel);
  };
  const OddSshServer server(manner);
  const auto connection = server.Connect();
  EXPECT_EQ(RunOver(*connection, "x").status, 128);
}

}  // namespace
}  // namespace net_test
