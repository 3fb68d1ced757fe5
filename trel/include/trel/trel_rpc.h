#pragma once

#include <memory>
#include <ostream>
#include <string>

#include "trel/export.h"

namespace trel_seam {
class SshConnection;
struct SshOutcome;
struct SshTarget;
}  // namespace trel_seam

/// Other hosts: commands over SSH, and files over HTTP.
namespace trel_rpc {

/// An open SSH connection, which runs one command at a time, each on a channel of its own.
/// A connection that is lost is a trel_err::Error "ssh" / "lost", told apart from a command that
/// failed, which is a Result. No password and no key appears in an error.
class TREL_EXPORT SSH {
 public:
  virtual ~SSH();
  SSH(const SSH&) = delete;
  SSH& operator=(const SSH&) = delete;

  /// Starts `command` in the login's shell, after the one before it has ended.
  SSH& Execute(const std::string& command);
  /// The command's standard input. What is written is sent by CloseIn, Str or Result.
  /// REQUIRES: the command was not waited for yet.
  std::ostream& In();
  /// Ends the command's standard input, and waits for the command.
  void CloseIn();
  /// Waits for the command and gives its standard output. Input that is still open ends here.
  std::string Str();
  /// Waits for the command and gives its exit status; 128 + the number of the signal that ended
  /// it.
  int Result();

 protected:
  /// Connects and logs in. Throws trel_err::Error "ssh" with the object "connect", "hostkey",
  /// "key" or "auth" and the host as value.
  explicit SSH(const trel_seam::SshTarget& target);

 private:
  struct Command;
  Command& Current();
  const trel_seam::SshOutcome& Outcome();
  void Finish(bool closed);

  std::string host_;
  std::unique_ptr<trel_seam::SshConnection> connection_;
  std::unique_ptr<Command> command_;
};

/// Logs in with a password.
class TREL_EXPORT SSHpass : public SSH {
 public:
  /// `host`: name or address, IPv6 with or without brackets.
  SSHpass(const std::string& host, const std::string& login, const std::string& password, int port);
};

/// Logs in with a key.
class TREL_EXPORT SSHkey : public SSH {
 public:
  /// `key`: path of a private key, or its text when it begins with "-----BEGIN";
  /// `passphrase`: of the key, empty for none.
  SSHkey(const std::string& host, const std::string& login, const std::string& key,
         const std::string& passphrase, int port);
};

/// Fetches `url` with GET into the file `path`, in constant memory. `path` holds the whole file
/// afterwards or is as it was; it is replaced, never written through a link, and keeps the mode of
/// the file that was there (0600 for a new one). `timeout`: seconds for the whole, 0 is no limit.
/// Throws trel_err::Error "remote" / "fetch" with a value that names the host and says what
/// happened: refused, cut off, a status other than 200, an error document in place of the file,
/// or a file that cannot be written. The query part of `url` appears in no error.
TREL_EXPORT void FetchFile(const std::string& url, const std::string& path, int timeout);

}  // namespace trel_rpc
