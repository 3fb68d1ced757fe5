#pragma once

#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "trel/str.h"

/// A model of everything that a migration meets: the two panels, the source host, the children. It
/// keeps its state, so that what a job leaves behind can be looked at.
namespace faults {

/// Which migration. The second kind of each generation takes the other branches: login with a key
/// in place of a password, the shell on beforehand, no authorized_keys, databases that are here
/// already are replaced, and the account stays disabled.
struct Scenario {
  std::string remote_type;
  bool second = false;

  bool IsGeneration4() const { return remote_type == "vortrel4"; }
  std::string Name() const { return remote_type + (second ? ", second kind" : ""); }
};

/// The migrations of the matrix.
const std::vector<Scenario>& Scenarios();

struct Problem {
  std::string object;
  std::string about;  ///< the database, the database user or the account that it names
  std::string info;
};

struct Database {
  std::string owner;
  std::string content;
  std::set<std::string> users;

  bool operator==(const Database&) const = default;
};

/// Everything outside the process that a migration may change, but for real files.
struct State {
  bool shell_on = false;  ///< the user's, at the source
  bool disabled_at_source = false;
  std::optional<std::string> authorized_keys;  ///< the user's, on the source host
  std::string ssh_owner = "user1";             ///< who owns ~/.ssh there
  bool in_service = false;                     ///< the account here
  bool web_repaired = false;
  bool files_copied = false;
  std::map<std::string, Database> databases;  ///< here, by name
  std::set<std::string> certificates;
};

constexpr char kUser[] = "user1";
constexpr char kForeigner[] = "mallory";
constexpr char kOldKeys[] = "ssh-rsa OLD user1@desk\n";
constexpr char kNewKey[] = "ssh-rsa NEW user1@here\n";

/// Texts that may be told to nobody but the peer they are meant for.
const std::vector<std::string>& Secrets();

/// A database of the user at the source.
struct SourceDatabase {
  std::string name;
  std::string server;
  std::vector<std::string> users;
};
const std::vector<SourceDatabase>& SourceDatabases();
/// The whole dump of a database at the source.
std::string DumpOf(const std::string& database);
std::string HashOf(const std::string& database_user);

/// The world before the job.
State StateBefore(const Scenario& scenario);
/// The parameters of the job; `dir` is the real folder of the run.
StringMap ParamsOf(const Scenario& scenario, const std::string& dir);

/// The fields of a query or of the part of a URL behind "?", decoded.
StringMap ParseQuery(const std::string& query);

struct World {
  Scenario scenario;
  std::string dir;
  State state;
  std::vector<Problem> problems;  ///< registered here
  /// What the model would not expect of any migration: objects that the source did not send,
  /// changes to what belongs to others, functions and commands that it does not know.
  std::vector<std::string> trespasses;

  void Trespass(const std::string& what) { trespasses.push_back(what); }
};

/// What the source panel answers to a query.
std::string AnswerOfSource(World& world, const StringMap& query);
/// What the local panel answers to a query.
std::string AnswerHere(World& world, const StringMap& query);

/// How a command or a child ends.
struct Ending {
  std::string output;
  int status = 0;
};

/// Runs a command of root on the source host.
Ending RunAtSource(World& world, const std::string& command, const std::string& input);
/// Runs ssh-keygen, whose key pair goes to `path`.
Ending MakeKeys(const std::string& path);
/// Runs rsync, as far as it gets: with status 0, 23 and 24 files arrive.
void CopyFiles(World& world, int status);

}  // namespace faults
