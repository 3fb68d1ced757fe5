#pragma once

#include <string>
#include <vector>

#include "trel/export.h"
#include "trel/str.h"

/// Child processes.
namespace trel_proc {

/// One word for a shell: single-quoted whatever it holds. The empty text stays empty.
TREL_EXPORT std::string Escape(const std::string& text);

/// From now on SIGTERM, SIGINT and SIGHUP end the child process that runs, with its group, and keep
/// further ones from starting (status 127), instead of ending this process at once: what has to be
/// put back on other hosts still is. One of them that was ignored stays ignored. For launchers;
/// called once, before any child.
TREL_EXPORT void CatchEndSignals();

/// A child process. It is described first, started by the first Str() or Result(), waited for
/// there, and run once. It gets no descriptor but the three standard ones (input from /dev/null),
/// the user's uid, gid and supplementary groups, a clean signal state, the umask 022, and an
/// environment of PATH, LANG, HOME, USER, LOGNAME and SHELL besides what SetEnv adds. Nothing here
/// throws for a child that could not be started: that is a result (see Result).
class TREL_EXPORT Execute {
 public:
  /// Bits of the option word. REQUIRES: no others (trel_err::AssertError otherwise).
  enum Option {
    kCaptureOutput = 2,   ///< Str() holds standard output
    kCaptureErrors = 4,   ///< Str() holds standard error too, in the order of writing
    kProcessGroup = 128,  ///< a group of its own, ended whole when the job ends it
  };

  /// A command line for /bin/sh.
  Execute(const std::string& command, int options);
  /// A program, looked up in the child's PATH, with its arguments. REQUIRES: not empty.
  Execute(const std::vector<std::string>& arguments, int options);

  /// Runs the child as account `name`. Default: as ourselves.
  Execute& SetUser(const std::string& name);
  /// Runs the child in directory `path`. Default: "/".
  Execute& SetDir(const std::string& path);
  /// Adds a variable to the child's environment.
  Execute& SetEnv(const std::string& name, const std::string& value);

  /// What the child wrote, as far as the options capture it. Of more than 16 MiB the rest is left
  /// out, and a last line tells how much.
  std::string Str();
  /// The exit status. A child ended by a signal gives 128 + its number, one that could not be
  /// started (no program, no such user, no directory) 127; both add a line to Str() that says so.
  int Result();

 private:
  void Run();

  std::vector<std::string> arguments_;
  int options_;
  std::string user_;
  std::string dir_ = "/";
  StringMap env_;
  bool done_ = false;
  std::string output_;
  int result_ = 0;
};

}  // namespace trel_proc
