#pragma once

#include <list>
#include <memory>
#include <string>
#include <vector>

#include "trel/str.h"
#include "trel/trel_proc.h"
#include "trel/trel_rpc.h"
#include "trel/trel_xml.h"

/// The routines that the job's steps share, all of them exported from the shared object. Failures
/// are thrown as trel_err::Error.
namespace tarvin {

// --- Parameters ------------------------------------------------------------------------------

/// A parameters file: one "key = value" a line, nothing escaped. The file holds secrets: Set
/// gives it the mode 0600, and Get logs "*" for `password` and every key that contains "_auth".
class BinParams {
 public:
  /// `name`: the section, which names the file that Set makes.
  explicit BinParams(const std::string& name);
  /// Adds what `file` holds to `params`; of a key that occurs twice the later line wins. A line
  /// without " = " is a key with an empty value. Throws AssertError for an empty name and what
  /// trel_file::Read throws.
  BinParams& Get(const std::string& file, StringMap& params);
  /// Writes `params` to the object's file: the first time a new one in "var", which outlives the
  /// object, later the same one.
  BinParams& Set(const StringMap& params);

 private:
  std::string path_;
  std::string name_;
};

/// "key=value" for each entry in key order with "&" between them; only the values are encoded.
std::string JoinParams(const StringMap& params);

/// `format` with each "?" replaced, in order, by an encoded argument; "?" that are left stay.
/// Throws "tarvin" / "query_args" for more arguments than "?".
std::string SubstParams(const std::string& format, const std::list<std::string>& args);
std::string SubstParams(const std::string& format, const std::string& a1);
std::string SubstParams(const std::string& format, const std::string& a1, const std::string& a2);
std::string SubstParams(const std::string& format, const std::string& a1, const std::string& a2,
                        const std::string& a3);

// --- Source panel ----------------------------------------------------------------------------

/// Sends `query` with the session key `auth` to the panel at `url`, which has 45 seconds, and
/// returns its reply. A function that the session may not call is thrown as "tarvin" /
/// "func_access" with the text behind "func=", whose length is the position of the next "&";
/// every other failure as the client throws it.
trel_xml::Xml RemoteQuery(const std::string& url, const std::string& auth,
                          const std::string& query);

/// Opens a session of `username` on the panel at `url` with the administrator's key `root_auth`,
/// by way of a login key that is used once, and returns the new session key. Names and keys are
/// sent as they are. Throws what the client throws.
std::string GetAuthID(const std::string& url, const std::string& root_auth,
                      const std::string& username);

// --- Forms -----------------------------------------------------------------------------------

/// Fills each element of a list of the panel at `url` with the fields of its edit form `func`, read
/// with the session key `auth`. `key` names the child that identifies an element, by its attribute
/// "orig" or its text. A field replaces the list's column; a multiple-choice field is added, value
/// by value. Throws "tarvin" / "key_missed" for an element without that child, and what RemoteQuery
/// throws; the elements before it stay filled.
void Detalize(const std::string& url, const std::string& auth, const std::string& func,
              const std::string& key, const trel_xml::XPath& elems);

/// True when `form` declares a multiple-choice select field `name`.
bool IsMultiselect(const trel_xml::Xml& form, const std::string& name);

/// Sets in `params` the text of each child element of `node` that has one, but for the names in
/// `skip`, between commas, and "slist" and "tparams". Of children of one name the last counts, or,
/// with `multi`, all of them between commas, behind what `params` held.
void FillParamsMap(const trel_xml::XmlNode& node, StringMap& params, const std::string& skip,
                   bool multi);

// --- Hosts -----------------------------------------------------------------------------------

/// Runs `command` through a shell of its own, feeding it `input` unless that is empty, and
/// returns its output. Throws "tarvin" / "remotecmd" / command for a status other than 0.
std::string ExecuteRemoteRootCommand(const std::shared_ptr<trel_rpc::SSH>& ssh,
                                     const std::string& command, const std::string& input);

/// The host in an address such as a URL: what stands between the scheme and the first ":", else
/// the first "/"; of a bracketed IPv6 address what is in the brackets.
std::string GetHostName(const std::string& address);

/// `address` in brackets when it is an IPv6 address, otherwise as it is.
std::string QuotedIP(std::string address);

// --- Files -----------------------------------------------------------------------------------

/// The names of a temporary key pair, free when drawn; its files are removed when it ends.
class KeyTemp {
 public:
  /// Draws `prefix` + 8 hexadecimal digits until neither file exists.
  explicit KeyTemp(const std::string& prefix);
  ~KeyTemp();
  KeyTemp(const KeyTemp&) = delete;
  KeyTemp& operator=(const KeyTemp&) = delete;

  const std::string& Private() const { return private_; }
  const std::string& Public() const { return public_; }

 private:
  std::string private_;
  std::string public_;
};

/// Copies a user's directory tree from another host with rsync, as that user and with that user's
/// rights on both ends, by way of a key pair that lives for the time of the copy: its public half
/// stands in the user's `authorized_keys` on the source, which is put back afterwards.
class SyncUserFiles {
 public:
  /// One end of a copy.
  struct ServerParams {
    bool local = true;     ///< this host
    std::string path;      ///< directory; of a source, empty is the login directory
    std::string url;       ///< address of a remote end
    std::string host;      ///< taken from url
    std::string login;     ///< SSH login of an administrator
    std::string password;  ///< empty when a key is used
    std::string key;       ///< private key; decides how to log in by being not empty
    std::string relpath;   ///< of a destination that may be missing: relative to the user's home
    int port = 0;          ///< SSH port

    void Local(const std::string& path);
    void SetRelPath(const std::string& relpath);
    void RemotePasswd(const std::string& path, const std::string& url, const std::string& login,
                      const std::string& password, int port);
    void RemoteKey(const std::string& path, const std::string& url, const std::string& login,
                   const std::string& key, int port);

   private:
    void Remote(const std::string& path, const std::string& url, const std::string& login,
                int port);
  };

  /// `user`: the hosting user on both ends; `overwrite` off keeps files that the destination has;
  /// `excludes`: further paths to leave out, may be null.
  SyncUserFiles(const std::string& user, const ServerParams& src, const ServerParams& dst,
                bool overwrite, const std::list<std::string>* excludes);

  /// Copies, the first time that it is called. An rsync that fails is a result and no error; what
  /// keeps it from being run is thrown.
  void Run();
  /// Runs, and gives the exit status of the last rsync; 0 also when the source does not exist.
  int Result();
  /// What the last rsync wrote.
  std::string Output() const;
  /// Whether files are compared by checksum (the default) or by time and size.
  void UseRsyncChecksum(bool checksum);

 private:
  using Connection = std::shared_ptr<trel_rpc::SSH>;

  void CheckEnds() const;
  std::string KeyPrefix() const;
  std::string MakeLocalKeys(const KeyTemp& keys) const;
  static Connection Connect(const ServerParams& end, const std::string& name);
  std::string MakeRemoteKeys(const Connection& destination, const KeyTemp& keys) const;
  bool SourceExists(const Connection& source) const;
  bool IsFreeBsd(const Connection& source) const;
  void PrepareLocalDestination() const;
  void PrepareRemoteDestination(const Connection& destination, const Connection& source) const;
  std::string SaveAuthorizedKeys(const Connection& source) const;
  void InstallKey(const Connection& source, const std::string& key) const;
  std::vector<std::string> RsyncArguments(const KeyTemp& keys) const;
  void Copy(const Connection& destination, std::vector<std::string> arguments);
  void RunRsync(const Connection& destination, const std::vector<std::string>& arguments);
  void RestoreAuthorizedKeys(const Connection& source, const std::string& saved,
                             const std::string& key) const;
  std::string AsUser(const std::string& command) const;

  bool done_ = false;
  bool checksum_ = true;
  int result_ = 0;
  std::string user_;
  ServerParams src_;
  ServerParams dst_;
  bool overwrite_;
  std::string output_;
  std::list<std::string> excludes_;
  bool freebsd_ = false;
};

// --- Mail and packages -----------------------------------------------------------------------

/// Converts the mbox store `src` of the local user `user` into the Maildir `dst` with mb2md; what
/// that wrote goes into `output`. True when it ended well. Throws "tarvin" / "dir_not_exists" / the
/// directory, and Missed "mb2md_not_exists".
bool Mb2Md(const std::string& user, const std::string& src, const std::string& dst,
           std::string& output);

/// Which mail stores the directory holds: 0 none, 1 mbox and Maildir, 2 mbox, 3 Maildir.
/// Throws Missed "email_dir", or "tarvin" / "tmp_not_dir" / dir for what is no directory.
int IsMailDirEmail(const std::string& dir);

/// Installs a package with the panel's script. True when that ended well.
bool PkgInstall(const std::string& package);

/// Asks the panel's script about a package; what that wrote goes into `info`. True when it ended
/// well.
bool PkgInfo(const std::string& package, std::string& info);

}  // namespace tarvin
