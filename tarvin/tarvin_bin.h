#pragma once

#include <memory>
#include <set>
#include <string>

#include "trel/str.h"
#include "trel/trel_client.h"
#include "trel/trel_err.h"
#include "trel/trel_rpc.h"

/// The classes of the job: what it is for each generation of the source panel.
namespace tarvin_bin {

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
  /// The database step; `import` false leaves the databases themselves out.
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
  void RegisterCritical(const trel_err::Error& error) const;
};

/// Import from a panel of generation 5 Lite.
class Import5Lite : public Import4 {
 public:
  using Import4::Import4;
  /// Nothing: this generation's access rights travel with the files.
  void FixDirAccess() override;
};

/// Import from a panel of generation 5 Pro.
class Import5Pro : public Import5Lite {
 public:
  using Import5Lite::Import5Lite;
};

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
