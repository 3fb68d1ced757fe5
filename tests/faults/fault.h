#pragma once

#include <string>
#include <vector>

#include "faults/call.h"
#include "seam/ssh.h"

namespace faults {

constexpr unsigned long kSmallDisk = 256 << 10;

/// What goes wrong with a call.
struct Fault {
  enum class Kind {
    kFailure,  ///< the exchange, login or command fails in the way that the real bodies report
    kReply,    ///< an HTTP reply comes, but not the one hoped for
    kStatus,   ///< a command or a child ends with this status
    kErrno,    ///< a call of the system fails
    kChange,   ///< somebody changes the files; every call goes on by itself
  };

  std::string name = {};
  Kind kind = Kind::kFailure;
  /// The peer did what it was asked, and the fault came behind that.
  bool acted = false;
  /// The request left this host before the fault.
  bool sent = true;
  /// Every later call to the same peer meets it too.
  bool persists = false;
  /// Every later call of the same key meets it too.
  bool repeats = false;
  /// The bytes come, but are not what was asked for: a dump of this kind is found out later.
  bool unnoticed = false;
  bool long_output = false;  ///< kStatus: `body`, and far more than anybody reads before it
  int seconds = 0;           ///< how long it takes by the clock
  std::string text = {};     ///< kFailure: what the failure says behind the place
  int status = 200;          ///< kReply, kStatus; kErrno: the errno
  std::string body = {};     ///< kReply: the reply; kStatus: the output
  std::string says = {};     ///< a part of what the job tells of it, where that is not `text`
  trel_seam::SshStep step = trel_seam::SshStep::kLost;
  /// kChange: at which call it is done, before the job when empty; and what, in the run's folder.
  std::string change_at = {};
  void (*change)(const std::string& dir) = nullptr;
  /// Puts it right again when the problem is registered.
  void (*undo)(const std::string& dir) = nullptr;
  bool small_disk = false;  ///< the folder of the run is a disk of its own, of kSmallDisk
  /// The call that fails by it; an empty key for none.
  Call shows = {};
  std::string leaves = {};    ///< what somebody else put in the home and nobody removes
  bool takes_params = false;  ///< the parameters file is gone by it
};

/// The text of an exchange that takes too long, with a time limit and without one: there the
/// system notices that the peer is gone.
std::string TimeoutText(int limit);

/// Every fault that a call can meet.
const std::vector<Fault>& FaultsOf(const Call& call);

/// The errors of the system that an operation with a file can meet.
const std::vector<Fault>& FileFaultsOf(const std::string& key);

/// What others may do to the files of a job.
const std::vector<Fault>& Changes();

/// The party behind a channel, by which faults persist: the panels, the source host, this host.
enum class Peer { kSourcePanel, kLocalPanel, kSourceHost, kThisHost };
Peer PeerOf(const Call& call);

}  // namespace faults
