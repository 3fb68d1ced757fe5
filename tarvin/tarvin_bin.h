#pragma once

#include <map>
#include <memory>
#include <set>
#include <string>

#include "trel/str.h"
#include "trel/trel_client.h"
#include "trel/trel_err.h"
#include "trel/trel_rpc.h"

/// The classes of the job: what it is for each generation of the source panel.
namespace tarvin_bin {

/// One database of the local panel.
struct DBInfo {
  std::string pair;             ///< its key in the panel
  std::string owner;            ///< the panel user who owns it
  std::string server;           ///< name of the server that holds it
  std::set<std::string> users;  ///< left empty by the inventory
};

/// What every import job is: its parameters, the user who is moved, and the way in which a step
/// reports a failure to the local panel.
class ImportAbstract {
 public:
  /// Copies `params`; no value is checked. `params_file` is removed when the job ends.
  ImportAbstract(const StringMap& params, const std::string& params_file);
  /// Puts the local user back into service unless `user_disabled` is "on" (a failure becomes the
  /// problem "user_resume"), and removes the parameters file.
  virtual ~ImportAbstract();
  ImportAbstract(const ImportAbstract&) = delete;
  ImportAbstract& operator=(const ImportAbstract&) = delete;

  /// Runs the job's steps. 0 when none of them let an error out, 1 otherwise.
  virtual int Run() = 0;

  /// The user who is moved, of the same name on both panels.
  const std::string& UserName() const { return username_; }

  /// Registers a problem of level error in the local panel. A panel that does not take it is
  /// logged and no error.
  void RegisterProblem(const std::string& id, const std::string& object,
                       const StringMap& problem_params, const std::string& info) const;
  /// What `error` has to say to people: its document's message, else its three names.
  std::string GetError(const trel_err::Error& error) const;
  /// Adds every database of the local panel to `databases`, by name (of two of one name the first
  /// counts), and to `server_users` the names of the users of the migrated user's own databases, by
  /// server. Throws what the panel client throws.
  void GetLocalDBInfo(std::map<std::string, DBInfo>& databases,
                      std::map<std::string, std::set<std::string>>& server_users) const;

 protected:
  /// An id for a problem that happens now: the user and the time.
  std::string ProblemId() const;

  StringMap params_;
  std::string params_file_;
  std::string lang_;
  std::string username_;
  bool user_disabled_;
};

/// Import from a panel of generation 4, and what the later generations share with it.
class Import4 : public ImportAbstract {
 public:
  /// Reads the job's fields and opens a session of the user on the source panel; throws what
  /// tarvin::GetAuthID and the decoding of the password throw.
  Import4(const StringMap& params, const std::string& params_file);
  /// With `user_disabled` on, disables the user on the source panel; a failure becomes the problem
  /// "ruser_suspend".
  ~Import4() override;

  /// The databases, then, with `import_files` on, the files, the access rights of the web
  /// directories and the certificates. An error that leaves a step becomes the problem
  /// "tarvin_critical"; that of the databases does not keep the files from being moved.
  int Run() override;

  /// The address from which the panel at `url` gives a database's dump.
  virtual std::string GetDBDownloadUrl(const std::string& url) const;
  /// The name that the local panel has for a type of database server.
  std::string ConvertDBType(const std::string& type) const;
  /// The database step: each database of the user with its users, their password hashes and
  /// privileges. With `import` false the users alone. What fails with one object is a problem
  /// ("db_alien", "db_dump", "db_restore", "db_user_create"); what fails before is thrown.
  virtual void LoadRemoteDatabases(bool import);
  /// Copies the user's home. A copy that ran and failed becomes the problem "files".
  virtual void CopyRemoteFiles();
  /// Has the local panel repair the access rights of the user's web directories.
  virtual void FixDirAccess();
  /// Gives the group of each of the user's mail accounts on the source host the right to read its
  /// files. What fails is logged; a lost connection is thrown.
  virtual void FixRemoteEmailFileAccess(std::shared_ptr<trel_rpc::SSH> ssh);
  /// The certificate step: nothing for this generation.
  virtual void LetsencryptImport();

 protected:
  /// True for a database of `owner` that is here already and may not be replaced: a foreign one,
  /// which becomes the problem "db_alien", or, with `overwrite` off, the user's own.
  bool KeepsDatabase(const std::string& name, const std::string& owner) const;
  /// Fetches a dump. False when that failed, and became the problem "db_dump".
  bool FetchDump(const std::string& name, const std::string& url, const std::string& path) const;
  /// Has the local panel restore a dump. False when that failed, and became "db_restore".
  bool RestoreDatabase(trel_client::Local& panel, const std::string& server,
                       const std::string& name, const std::string& path) const;
  /// Registers what failed with one database, besides `params` with its name and the user's.
  void RegisterDatabaseFailure(const std::string& object, const std::string& name,
                               const trel_err::Error& error, StringMap params = {}) const;

  std::string url_;
  std::string userhomedir_;
  std::string root_auth_;
  std::string auth_id_;
  std::string auth_type_;
  std::string login_;
  std::string password_;
  std::string import_files_;
  std::string import_databases_;
  int ssh_port_;
  bool overwrite_;
  std::string mysql_server_;
  std::string pgsql_server_;

 private:
  class DatabaseStep;
  void RegisterCritical(const trel_err::Error& error) const;
};

/// Import from a panel of generation 5 Lite.
class Import5Lite : public Import4 {
 public:
  using Import4::Import4;
  /// The database step of this generation. With `import` false no dump is fetched, but the restore
  /// is asked for all the same.
  void LoadRemoteDatabases(bool import) override;
  /// Hands the user's letsencrypt certificates over to the local panel, when both panels have the
  /// plugin. One that is refused is logged; what fails before is thrown.
  void LetsencryptImport() override;
  /// Nothing: this generation's access rights travel with the files.
  void FixDirAccess() override;

 private:
  class DatabaseStep;
};

/// Import from a panel of generation 5 Pro.
class Import5Pro : public Import5Lite {
 public:
  using Import5Lite::Import5Lite;
};

/// The name of the database server of that type in a list of them: of the first one on this host,
/// else of the first one; empty when there is none.
std::string GetServerNameByType(trel_xml::Xml& servers, const std::string& type);

/// True when the panel behind `client` has the letsencrypt plugin. `side`: "remote" or "local", for
/// the log; `auth`: a session key, empty for none.
bool CheckLetsencrypt(trel_client::Client& client, const std::string& side,
                      const std::string& auth);

/// The options that are on in a panel.
class TrelOptionSet {
 public:
  /// Asks `panel`; throws what its Query throws.
  explicit TrelOptionSet(trel_client::Local& panel);
  bool Has(const std::string& option);

 private:
  std::set<std::string> options_;
};

/// Keeps the user's shell access at the source panel on for as long as it lives: turned on by the
/// constructor if it was off, and only then turned off again by the destructor. The constructors
/// throw what tarvin::RemoteQuery throws. The destructors let nothing pass: a shell that cannot be
/// turned off again ends the process.
class RemoteShellSwitch {
 public:
  virtual ~RemoteShellSwitch() = default;
  RemoteShellSwitch(const RemoteShellSwitch&) = delete;
  RemoteShellSwitch& operator=(const RemoteShellSwitch&) = delete;

 protected:
  explicit RemoteShellSwitch(StringMap& params);

  bool switched_on_ = false;
  std::string username_;
  std::string url_;
  std::string root_auth_;
};

/// Generation 4: the field `shell`, which goes with the whole form.
class RemoteShellSwitch4 : public RemoteShellSwitch {
 public:
  explicit RemoteShellSwitch4(StringMap& params);
  ~RemoteShellSwitch4() override;

  /// Appends the fields of the user's form, `shell` left out, to `query`. True when the shell is
  /// not on.
  bool BuildQuery(std::string& query);
};

/// Generation 5: the field `limit_shell`, which is set alone.
class RemoteShellSwitch5 : public RemoteShellSwitch {
 public:
  explicit RemoteShellSwitch5(StringMap& params);
  ~RemoteShellSwitch5() override;
};

}  // namespace tarvin_bin
