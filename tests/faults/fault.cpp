#include "faults/fault.h"

namespace faults {
namespace {

using Kind = Fault::Kind;
using trel_seam::SshStep;

std::vector<Fault> CommonHttpFaults() {
  const std::string reset = "the exchange broke off: connection reset by peer";
  return {
      {.name = "refused", .sent = false, .text = "connection refused"},
      {.name = "gone from here on", .sent = false, .persists = true, .text = "connection refused"},
      {.name = "reset before it acted", .text = reset},
      {.name = "reset after it acted", .acted = true, .text = reset},
      {.name = "closed without an answer",
       .acted = true,
       .text = "the connection was closed without an answer"},
      {.name = "answer cut off", .acted = true, .text = "the answer was cut off"},
      {.name = "answer without end", .acted = true, .text = "the answer is larger than 256 MiB"},
      {.name = "answer that is not HTTP", .text = "the answer is not HTTP"},
      {.name = "garbage",
       .kind = Kind::kReply,
       .acted = true,
       .body = "\x01\xff garbage",
       .says = "the answer is "},
      {.name = "empty answer", .kind = Kind::kReply, .acted = true, .says = "the answer is "},
      {.name = "half a document",
       .kind = Kind::kReply,
       .acted = true,
       .body = "<doc><elem><na",
       .says = "the answer is "},
      {.name = "web page",
       .kind = Kind::kReply,
       .body = "<html><body>Log in</body></html>",
       .says = "XML without the root 'doc'"},
      {.name = "error document",
       .kind = Kind::kReply,
       .body = "<doc><error type=\"disk\" object=\"full\"><value>x</value>"
               "<msg>The disk is full</msg></error></doc>",
       .says = "The disk is full"},
      {.name = "permission denied",
       .kind = Kind::kReply,
       .body = "<doc><error type=\"access\"><msg>Permission denied</msg></error></doc>",
       .says = "ermission"},
      {.name = "status 500",
       .kind = Kind::kReply,
       .status = 500,
       .body = "<doc/>",
       .says = "answered with status 500"},
      {.name = "status 404",
       .kind = Kind::kReply,
       .status = 404,
       .body = "<html/>",
       .says = "answered with status 404"},
  };
}

std::vector<Fault> SourcePanelFaults() {
  auto faults = CommonHttpFaults();
  faults.push_back({.name = "no connection in time",
                    .sent = false,
                    .seconds = 20,
                    .text = "no connection within 20 s"});
  faults.push_back({.name = "certificate that does not verify",
                    .sent = false,
                    .text = "the certificate could not be verified: self-signed certificate"});
  // The text is that of TimeoutText.
  faults.push_back({.name = "timed out before it acted", .seconds = 45});
  faults.push_back({.name = "timed out after it acted", .acted = true, .seconds = 45});
  return faults;
}

std::vector<Fault> DumpFaults() {
  const std::string reset = "the exchange broke off: connection reset by peer";
  return {
      {.name = "refused", .text = "connection refused"},
      {.name = "gone from here on", .persists = true, .text = "connection refused"},
      {.name = "certificate that does not verify",
       .text = "the certificate could not be verified: self-signed certificate"},
      {.name = "reset before the dump", .text = reset},
      {.name = "reset within the dump", .acted = true, .text = reset},
      {.name = "peer gone within the dump",
       .acted = true,
       .seconds = 120,
       .text = "the exchange broke off: connection timed out"},
      {.name = "cut off", .acted = true, .text = "the answer was cut off"},
      {.name = "without an announced end",
       .text = "the length of the answer is not announced, so that a cut one could not be told "
               "from a whole one"},
      {.name = "error document",
       .kind = Kind::kReply,
       .body = "<doc><error type=\"x\"><msg>The disk is full</msg></error></doc>",
       .says = "The disk is full"},
      {.name = "permission denied",
       .kind = Kind::kReply,
       .body = "<doc><error type=\"access\"><msg>Permission denied</msg></error></doc>",
       .says = "Permission denied"},
      {.name = "status 404",
       .kind = Kind::kReply,
       .status = 404,
       .body = "<html/>",
       .says = "answered with status 404"},
      {.name = "status 500",
       .kind = Kind::kReply,
       .status = 500,
       .says = "answered with status 500"},
      {.name = "garbage",
       .kind = Kind::kReply,
       .unnoticed = true,
       .body = "\x01\xff garbage",
       .says = "not a dump"},
      {.name = "web page",
       .kind = Kind::kReply,
       .unnoticed = true,
       .body = "<html><body>Log in</body></html>",
       .says = "not a dump"},
      {.name = "empty", .kind = Kind::kReply, .unnoticed = true, .says = "not a dump"},
  };
}

std::vector<Fault> LoginFaults() {
  return {
      {.name = "refused", .text = "connection refused", .step = SshStep::kConnect},
      {.name = "gone from here on",
       .persists = true,
       .text = "connection refused",
       .step = SshStep::kConnect},
      {.name = "host silent",
       .seconds = 20,
       .text = "timeout connecting to src.example",
       .step = SshStep::kConnect},
      {.name = "host key changed", .text = "the host key has changed", .step = SshStep::kHostKey},
      {.name = "key unusable", .text = "the key cannot be read", .step = SshStep::kKey},
      {.name = "login refused",
       .text = "login refused, the host offers publickey",
       .step = SshStep::kAuth},
      {.name = "connection lost", .text = "connection lost: socket error: disconnected"},
  };
}

std::vector<Fault> CommandFaults() {
  return {
      {.name = "channel refused", .sent = false, .text = "the host does not run the command"},
      {.name = "connection lost before it ran",
       .sent = false,
       .text = "connection lost: socket error: disconnected"},
      {.name = "connection lost after it ran",
       .acted = true,
       .text = "connection lost: socket error: disconnected"},
      {.name = "gone from here on", .sent = false, .persists = true, .text = "connection refused"},
      {.name = "channel closed without a status",
       .acted = true,
       .text = "the command ended without an exit status"},
      {.name = "output without end", .acted = true, .text = "the output is larger than 256 MiB"},
      {.name = "status 1", .kind = Kind::kStatus, .status = 1, .says = "remotecmd"},
      {.name = "status 127", .kind = Kind::kStatus, .status = 127, .says = "remotecmd"},
      {.name = "killed when it was done",
       .kind = Kind::kStatus,
       .acted = true,
       .status = 137,
       .says = "remotecmd"},
  };
}

std::vector<Fault> KeyMakerFaults() {
  return {
      {.name = "status 1",
       .kind = Kind::kStatus,
       .status = 1,
       .body = "Saving key failed: No space left on device\n",
       .says = "No space left on device"},
      {.name = "status 1 with both files made",
       .kind = Kind::kStatus,
       .acted = true,
       .status = 1,
       .body = "failed\n",
       .says = "failed"},
      {.name = "program missing",
       .kind = Kind::kStatus,
       .status = 127,
       .body = "/bin/sh: 1: ssh-keygen: not found\n",
       .says = "not found"},
      {.name = "no such account",
       .kind = Kind::kStatus,
       .status = 127,
       .body = "cannot run '/bin/sh': there is no user 'user1'\n",
       .says = "there is no user"},
      {.name = "killed",
       .kind = Kind::kStatus,
       .status = 137,
       .body = "ended by signal KILL\n",
       .says = "ended by signal KILL"},
      {.name = "killed with both files made",
       .kind = Kind::kStatus,
       .acted = true,
       .status = 143,
       .body = "ended by signal TERM\n",
       .says = "ended by signal TERM"},
      {.name = "status 0 without a key", .kind = Kind::kStatus, .status = 0, .says = "missed file"},
      {.name = "output without end",
       .kind = Kind::kStatus,
       .long_output = true,
       .status = 1,
       .body = "[1048576 more bytes]\n",
       .says = "more bytes"},
  };
}

std::vector<Fault> RsyncFaults() {
  std::vector<Fault> faults;
  for (const int status : {1,  2,  3,  4,  5,  6,  10,  11,  12,  13,  14,  20,  21,
                           22, 23, 24, 25, 30, 35, 124, 127, 134, 137, 139, 143, 255}) {
    const std::string code = "status " + std::to_string(status);
    const Fault once{.name = code + " once",
                     .kind = Kind::kStatus,
                     .status = status,
                     .body = "rsync error (code " + std::to_string(status) + ")\n",
                     .says = "rsync error (code "};
    faults.push_back(once);
    faults.push_back(once);
    faults.back().name = code + " each time";
    faults.back().repeats = true;
  }
  faults.push_back({.name = "output without end",
                    .kind = Kind::kStatus,
                    .repeats = true,
                    .long_output = true,
                    .status = 23,
                    .body = "[1048576 more bytes]\n",
                    .says = "more bytes"});
  return faults;
}

}  // namespace

std::string TimeoutText(int limit) {
  if (limit > 0) return "no answer within " + std::to_string(limit) + " s";
  return "the exchange broke off: connection timed out";
}

const std::vector<Fault>& FaultsOf(const Call& call) {
  static const std::vector<Fault> source = SourcePanelFaults();
  static const std::vector<Fault> local = CommonHttpFaults();
  static const std::vector<Fault> dump = DumpFaults();
  static const std::vector<Fault> login = LoginFaults();
  static const std::vector<Fault> command = CommandFaults();
  static const std::vector<Fault> keygen = KeyMakerFaults();
  static const std::vector<Fault> rsync = RsyncFaults();
  switch (call.channel) {
    case Channel::kSourcePanel:
      return source;
    case Channel::kLocalPanel:
      return local;
    case Channel::kDump:
      return dump;
    case Channel::kMailSsh:
    case Channel::kCopySsh:
      return call.key == "login" ? login : command;
    case Channel::kChild:
      return call.key == "rsync" ? rsync : keygen;
    case Channel::kFile:
      break;
  }
  return FileFaultsOf(call.key);
}

Peer PeerOf(const Call& call) {
  switch (call.channel) {
    case Channel::kSourcePanel:
    case Channel::kDump:
      return Peer::kSourcePanel;
    case Channel::kLocalPanel:
      return Peer::kLocalPanel;
    case Channel::kMailSsh:
    case Channel::kCopySsh:
      return Peer::kSourceHost;
    case Channel::kChild:
      return call.key == "rsync" ? Peer::kSourceHost : Peer::kThisHost;
    case Channel::kFile:
      break;
  }
  return Peer::kThisHost;
}

}  // namespace faults
