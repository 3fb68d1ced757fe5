#include "tarvin/tarvin.h"

#include <algorithm>
#include <set>
#include <sstream>

#include "tarvin/log.h"
#include "trel/trel_client.h"
#include "trel/trel_env.h"
#include "trel/trel_err.h"
#include "trel/trel_file.h"
#include "trel/trel_user.h"

namespace {

const trel_log::Module log_module("tarvin", "vortrel");
constexpr char kSource[] = "tarvin/tarvin";

constexpr int kRemoteTimeout = 45;
/// Output and errors captured as one text, in a process group of its own.
constexpr int kCaptureAll = 134;

}  // namespace

namespace tarvin {

// --- Parameters ------------------------------------------------------------------------------

BinParams::BinParams(const std::string& name) : name_(name) {}

BinParams& BinParams::Get(const std::string& file, StringMap& params) {
  constexpr char kSignature[] =
      "tarvin::BinParams& tarvin::BinParams::Get(const string&, StringMap&)";
  TARVIN_LOG(8, "%s", kSignature);
  if (file.empty()) {
    trel_err::AssertError::Raise(kSource, __LINE__, kSignature,
                                 "incorrect use of tarvin::BinParams");
  }
  std::istringstream lines(trel_file::Read(file));
  for (std::string line; std::getline(lines, line);) {
    const std::string key = str::GetWord(line, " = ");
    const std::string& value = line;
    params[key] = value;
    const bool secret = key == "password" || key.find("_auth") != std::string::npos;
    TARVIN_LOG(9, "%s:%d got param '%s' = '%s'", TARVIN_PLACE, key.c_str(),
               secret ? "*" : value.c_str());
  }
  return *this;
}

BinParams& BinParams::Set(const StringMap& params) {
  if (path_.empty()) {
    trel_file::Tmp file(trel_file::ConcatPath("var", name_));
    file.Keep();
    trel_file::Attrs(0600).SafeSet(file.Path(), false);
    path_ = file.Path();
  }
  std::string text;
  for (const auto& [key, value] : params) {
    str::Append(text, key + " = " + value, "\n");
  }
  trel_file::Write(path_, text);
  return *this;
}

std::string JoinParams(const StringMap& params) {
  std::string query;
  for (const auto& [key, value] : params) {
    str::Append(query, key + "=" + str::url::Encode(value), "&");
  }
  return query;
}

std::string SubstParams(const std::string& format, const std::list<std::string>& args) {
  std::string result = format;
  std::size_t position = 0;
  for (const auto& arg : args) {
    position = result.find('?', position);
    if (position == std::string::npos) throw trel_err::Error("tarvin", "query_args");
    // What is put in holds no "?": it is encoded.
    result.replace(position, 1, str::url::Encode(arg));
  }
  return result;
}

std::string SubstParams(const std::string& format, const std::string& a1) {
  return SubstParams(format, std::list<std::string>{a1});
}

std::string SubstParams(const std::string& format, const std::string& a1, const std::string& a2) {
  return SubstParams(format, std::list<std::string>{a1, a2});
}

std::string SubstParams(const std::string& format, const std::string& a1, const std::string& a2,
                        const std::string& a3) {
  return SubstParams(format, std::list<std::string>{a1, a2, a3});
}

// --- Source panel ----------------------------------------------------------------------------

trel_xml::Xml RemoteQuery(const std::string& url, const std::string& auth,
                          const std::string& query) {
  TARVIN_LOG(8, "%s",
             "trel_xml::Xml tarvin::RemoteQuery(const string&, const string&, const string&)");
  const std::string request = query + "&auth=" + str::url::Encode(auth);
  try {
    trel_client::Remote panel(url);
    panel.SetTimeout(kRemoteTimeout);
    return panel.Query(request);
  } catch (const trel_err::Error& error) {
    if (error.type() != "remote" || error.object() != "query" ||
        error.value() != "Permission denied") {
      throw;
    }
    const std::size_t func = query.find("func=");
    if (func == std::string::npos) {
      TARVIN_LOG(9, "%s:%d no funcpos", TARVIN_PLACE);
      throw;
    }
    // The length is the position of the "&" in the whole query, so the text runs past the
    // function's name: problem reports show it in this form.
    const std::size_t name = func + std::string("func=").size();
    throw trel_err::Error("tarvin", "func_access", query.substr(name, query.find('&', func)));
  }
}

std::string GetAuthID(const std::string& url, const std::string& root_auth,
                      const std::string& username) {
  TARVIN_LOG(5, "Authorizing user '%s' on remote host", username.c_str());
  trel_client::Remote panel(url);
  panel.SetTimeout(kRemoteTimeout);
  const std::string key = str::hex::Encode(str::Random(8));
  panel.Query("func=session.newkey&checkcookie=no&username=" + username + "&key=" + key +
              "&auth=" + root_auth);
  return panel.Query("func=auth&username=" + username + "&key=" + key).value("auth");
}

// --- Forms -----------------------------------------------------------------------------------

namespace {

/// The attribute "func" of the document that `node` is in.
std::string FunctionOf(trel_xml::XmlNode node) {
  for (auto parent = node.Parent(1); parent; parent = node.Parent(1)) node = parent;
  return node.GetProp("func");
}

/// Merges the fields of `form` into the list element `elem`.
void MergeForm(const trel_xml::Xml& form, trel_xml::XmlNode elem) {
  for (auto field = form.GetRoot().FirstChild(); field; field = field.Next()) {
    const std::string name = field.Name();
    if (name == "metadata" || name == "messages") continue;
    auto column = elem.FindNode(name);
    if (column && !IsMultiselect(form, name)) {
      column.SetContent(field.Str());
    } else {
      elem.AppendChild(field);
    }
  }
}

}  // namespace

void Detalize(const std::string& url, const std::string& auth, const std::string& func,
              const std::string& key, const trel_xml::XPath& elems) {
  for (const auto& elem : elems) {
    const auto id = elem.FindNode(key);
    if (!id) throw trel_err::Error("tarvin", "key_missed", FunctionOf(elem) + "->" + key);
    const std::string orig = id.GetProp("orig");
    MergeForm(RemoteQuery(url, auth,
                          "func=" + func + "&elid=" +
                              str::url::Encode(orig.empty() ? id.Str() : orig) + "&out=devel"),
              elem);
  }
}

bool IsMultiselect(const trel_xml::Xml& form, const std::string& name) {
  return static_cast<bool>(form.GetNode("/doc/metadata/form//select[@type='multiple' and @name=" +
                                        trel_xml::EscapePropValue(name) + "]"));
}

void FillParamsMap(const trel_xml::XmlNode& node, StringMap& params, const std::string& skip,
                   bool multi) {
  std::set<std::string> skipped = str::Split(skip, ",");
  skipped.insert({"slist", "tparams"});
  for (auto child = node.FirstChild(); child; child = child.Next()) {
    const std::string name = child.Name();
    const std::string text = child.Str();
    if (!child.IsNode() || text.empty() || skipped.count(name) > 0) continue;
    if (multi && params.count(name) > 0) {
      str::Append(params[name], text, ",");
    } else {
      params[name] = text;
    }
  }
}

// --- Hosts -----------------------------------------------------------------------------------

std::string ExecuteRemoteRootCommand(const std::shared_ptr<trel_rpc::SSH>& ssh,
                                     const std::string& command, const std::string& input) {
  ssh->Execute("/bin/sh -c " + trel_proc::Escape(command));
  if (!input.empty()) {
    ssh->In() << input;
    ssh->CloseIn();
  }
  std::string output = ssh->Str();
  if (ssh->Result() != 0) throw trel_err::Error("tarvin", "remotecmd", command);
  return output;
}

std::string GetHostName(const std::string& address) {
  std::string rest = address;
  const std::size_t scheme = rest.find("://");
  if (scheme != std::string::npos) rest.erase(0, scheme + 3);
  if (!rest.empty() && rest.front() == '[') {
    rest.erase(0, 1);
    return str::GetWord(rest, ']');
  }
  // A ":" anywhere ends the host, also one in the path.
  if (rest.find(':') != std::string::npos) return str::GetWord(rest, ':');
  return str::GetWord(rest, '/');
}

std::string QuotedIP(std::string address) {
  return test::Ip6(address) ? "[" + address + "]" : address;
}

// --- Files -----------------------------------------------------------------------------------

KeyTemp::KeyTemp(const std::string& prefix) {
  do {
    private_ = prefix + str::hex::Encode(str::Random(4));
    public_ = private_ + ".pub";
  } while (trel_file::Exists(private_) || trel_file::Exists(public_));
}

KeyTemp::~KeyTemp() {
  for (const auto* file : {&private_, &public_}) {
    try {
      if (trel_file::Exists(*file)) trel_file::RemoveFile(*file);
    } catch (const trel_err::Error& error) {
      TARVIN_LOG(4, "failed to remove temporary key: %s", error.what());
    }
  }
}

void SyncUserFiles::ServerParams::Local(const std::string& dir) {
  local = true;
  path = dir;
}

void SyncUserFiles::ServerParams::SetRelPath(const std::string& dir) {
  relpath = dir;
}

void SyncUserFiles::ServerParams::RemotePasswd(const std::string& dir, const std::string& address,
                                               const std::string& name, const std::string& secret,
                                               int ssh_port) {
  Remote(dir, address, name, ssh_port);
  password = secret;
  key.clear();
}

void SyncUserFiles::ServerParams::RemoteKey(const std::string& dir, const std::string& address,
                                            const std::string& name, const std::string& secret,
                                            int ssh_port) {
  Remote(dir, address, name, ssh_port);
  key = secret;
  password.clear();
}

void SyncUserFiles::ServerParams::Remote(const std::string& dir, const std::string& address,
                                         const std::string& name, int ssh_port) {
  local = false;
  path = dir;
  url = address;
  host = GetHostName(address);
  login = name;
  port = ssh_port;
}

SyncUserFiles::SyncUserFiles(const std::string& user, const ServerParams& src,
                             const ServerParams& dst, bool overwrite,
                             const std::list<std::string>* excludes)
    : user_(user), src_(src), dst_(dst), overwrite_(overwrite) {
  if (excludes != nullptr) excludes_ = *excludes;
}

void SyncUserFiles::UseRsyncChecksum(bool checksum) {
  checksum_ = checksum;
}

int SyncUserFiles::Result() {
  Run();
  return result_;
}

std::string SyncUserFiles::Output() const {
  return output_;
}

void SyncUserFiles::Run() {
  TARVIN_LOG(8, "%s", "void tarvin::SyncUserFiles::Run()");
  if (done_) return;
  done_ = true;
  CheckEnds();
  // Released in the opposite order: the destination, the source, the keys.
  const KeyTemp keys(KeyPrefix());
  Connection source;
  Connection destination;
  std::string key;
  if (dst_.local) {
    key = MakeLocalKeys(keys);
  } else {
    TARVIN_LOG(9, "%s:%d connecting to node", TARVIN_PLACE);
    destination = Connect(dst_, "dst");
    key = MakeRemoteKeys(destination, keys);
  }
  source = Connect(src_, "src");
  if (!SourceExists(source)) return;
  freebsd_ = IsFreeBsd(source);
  if (dst_.local) {
    PrepareLocalDestination();
  } else {
    PrepareRemoteDestination(destination, source);
  }
  const std::string saved = SaveAuthorizedKeys(source);
  InstallKey(source, key);
  try {
    Copy(destination, RsyncArguments(keys));
  } catch (...) {
    // Also when the destination is lost, the key does not stay at the source.
    RestoreAuthorizedKeys(source, saved, key);
    throw;
  }
  RestoreAuthorizedKeys(source, saved, key);
  if (!dst_.local) {
    destination->Execute("rm -f " + keys.Private() + " " + keys.Public());
    destination->Result();
  }
}

void SyncUserFiles::CheckEnds() const {
  if (src_.local) throw trel_err::Error("unsupported", "sync", "from local source");
  if (dst_.path.empty()) throw trel_err::Error("tarvin", "param_missed", "destination");
}

std::string SyncUserFiles::KeyPrefix() const {
  if (dst_.local && trel_file::Exists(dst_.path)) {
    return trel_file::ConcatPath(dst_.path, "tarvin_key");
  }
  return "/tmp/tarvin_key";
}

std::string SyncUserFiles::MakeLocalKeys(const KeyTemp& keys) const {
  trel_proc::Execute keygen("ssh-keygen -q -t rsa -N \"\" -f " + keys.Private(), kCaptureAll);
  keygen.SetUser(user_);
  if (keygen.Result() != 0) throw trel_err::Error("tarvin", "create_sshkey", keygen.Str());
  if (!trel_file::Exists(keys.Public())) {
    throw trel_err::Error("tarvin", "create_sshkey", "missed file '" + keys.Public() + "'");
  }
  return trel_file::Read(keys.Public());
}

SyncUserFiles::Connection SyncUserFiles::Connect(const ServerParams& end, const std::string& name) {
  const bool by_key = !end.key.empty();
  TARVIN_LOG(9, "%s:%d connecting to %s server '%s'@'%s':%d with %s", TARVIN_PLACE, name.c_str(),
             end.login.c_str(), end.host.c_str(), end.port, by_key ? "key" : "passwd");
  if (by_key) {
    return std::make_shared<trel_rpc::SSHkey>(end.host, end.login, end.key, "", end.port);
  }
  return std::make_shared<trel_rpc::SSHpass>(end.host, end.login, end.password, end.port);
}

std::string SyncUserFiles::MakeRemoteKeys(const Connection& destination,
                                          const KeyTemp& keys) const {
  destination->Execute("su -s /bin/sh -c 'ssh-keygen -q -t rsa -N \"\" -f " + keys.Private() +
                       "' " + user_);
  if (destination->Result() != 0) {
    throw trel_err::Error("tarvin", "create_sshkey", destination->Str());
  }
  destination->Execute("su -s /bin/sh -c 'cat " + keys.Public() + "' " + user_);
  std::string key = destination->Str();
  if (destination->Result() != 0 || key.empty()) {
    throw trel_err::Error("tarvin", "create_sshkey", "failed to get public key from remote node");
  }
  return key;
}

bool SyncUserFiles::SourceExists(const Connection& source) const {
  // Without a path the shell's test gets "-e" alone, which is a text and thereby true.
  source->Execute("test -e " + trel_proc::Escape(src_.path));
  if (source->Result() == 0) return true;
  TARVIN_LOG(9, "%s:%d Source directory (remote) '%s' doesn't exist. Skip it", TARVIN_PLACE,
             src_.path.c_str());
  return false;
}

bool SyncUserFiles::IsFreeBsd(const Connection& source) const {
  source->Execute("uname");
  const std::string system = source->Str();
  if (source->Result() != 0) throw trel_err::Error("tarvin", "remotecmd", "uname");
  if (system.starts_with("FreeBSD")) {
    TARVIN_LOG(9, "%s:%d assume src OS is FreeBSD", TARVIN_PLACE);
    return true;
  }
  TARVIN_LOG(9, "%s:%d assume src OS is Linux", TARVIN_PLACE);
  return false;
}

void SyncUserFiles::PrepareLocalDestination() const {
  if (trel_file::Exists(dst_.path)) return;
  if (dst_.relpath.empty()) {
    TARVIN_LOG(9,
               "%s:%d Destination directory (local) '%s' doesn't exist. It may cause rsync error",
               TARVIN_PLACE, dst_.path.c_str());
    return;
  }
  TARVIN_LOG(9, "%s:%d Destination directory (local) '%s' doesn't exist. Create it", TARVIN_PLACE,
             dst_.path.c_str());
  TARVIN_LOG(9, "%s:%d relpath: '%s' for user '%s'", TARVIN_PLACE, dst_.relpath.c_str(),
             user_.c_str());
  trel_proc::Execute mkdir("mkdir -p ~/" + dst_.relpath, kCaptureAll);
  mkdir.SetUser(user_);
  mkdir.SetEnv("HOME", trel_user::GetHome(user_));
  if (mkdir.Result() != 0) throw trel_err::Error("tarvin", "create_relpath", mkdir.Str());
}

void SyncUserFiles::PrepareRemoteDestination(const Connection& destination,
                                             const Connection& source) const {
  destination->Execute("test -e " + trel_proc::Escape(dst_.path));
  if (destination->Result() == 0) return;
  if (dst_.relpath.empty()) {
    TARVIN_LOG(9,
               "%s:%d Destination directory (remote) '%s' doesn't exist. It may cause rsync error",
               TARVIN_PLACE, dst_.path.c_str());
    return;
  }
  TARVIN_LOG(9, "%s:%d Destination directory (remote) '%s' doesn't exist. Create it", TARVIN_PLACE,
             dst_.path.c_str());
  TARVIN_LOG(9, "%s:%d relpath: '%s' for user '%s'", TARVIN_PLACE, dst_.relpath.c_str(),
             user_.c_str());
  // Goes to the source, in the source's form, although the directory is the destination's.
  const std::string mkdir = "mkdir -p ~/" + dst_.relpath;
  source->Execute(AsUser(mkdir));
  if (source->Result() != 0) throw trel_err::Error("tarvin", "remotecmd", mkdir);
}

std::string SyncUserFiles::AsUser(const std::string& command) const {
  if (freebsd_) return "su " + user_ + " -c '" + command + "'";
  return "su -s /bin/sh -c '" + command + "' " + user_;
}

std::string SyncUserFiles::SaveAuthorizedKeys(const Connection& source) const {
  source->Execute(AsUser("cat ~/.ssh/authorized_keys"));
  const std::string keys = source->Str();
  return source->Result() == 0 ? keys : "";
}

void SyncUserFiles::InstallKey(const Connection& source, const std::string& key) const {
  const std::string home = str::Trim(ExecuteRemoteRootCommand(source, "echo ~" + user_, ""));
  const std::string dir = trel_file::ConcatPath(home, ".ssh");
  const std::string file = trel_file::ConcatPath(dir, "authorized_keys");
  ExecuteRemoteRootCommand(source, "mkdir -p " + dir, "");
  ExecuteRemoteRootCommand(source, "chown -R root:root " + dir, "");
  ExecuteRemoteRootCommand(source, "cat >> " + file, key);
  ExecuteRemoteRootCommand(source, "chown -R " + user_ + ":" + user_ + " " + dir, "");
  ExecuteRemoteRootCommand(source, "chmod -f 0600 " + file, "");
}

std::vector<std::string> SyncUserFiles::RsyncArguments(const KeyTemp& keys) const {
  std::vector<std::string> arguments;
  if (!dst_.local) arguments.push_back("cd ~/ &&");
  const std::string quote = dst_.local ? "" : "\"";
  arguments.insert(arguments.end(),
                   {"rsync", "-e",
                    quote + "ssh -i " + keys.Private() + " -p " + str::Str(src_.port) +
                        " -o StrictHostKeyChecking=no" + quote});
  if (checksum_) arguments.push_back("-c");
  arguments.insert(arguments.end(), {"-r", "-l", "-H", "-p", "-t", "-z"});
  if (!overwrite_) arguments.push_back("--ignore-existing");
  arguments.insert(arguments.end(), {"--exclude=/tmp", "--exclude=/mod-tmp", "--exclude=/php-bin/*",
                                     "--exclude=/logs/*", "--exclude=/webdav"});
  constexpr int kWithUserCages = 0x20104;
  if (trel_env::GetOsType() == kWithUserCages) arguments.push_back("--exclude=/.cagefs");
  for (const auto& path : excludes_) arguments.push_back("--exclude=" + path);
  const std::string login_dir = dst_.local ? "." : "~";
  arguments.push_back(user_ + "@" + QuotedIP(src_.host) + ":" +
                      (src_.path.empty() ? login_dir : src_.path) + "/");
  arguments.push_back(dst_.path + "/");
  return arguments;
}

void SyncUserFiles::Copy(const Connection& destination, std::vector<std::string> arguments) {
  // Protocol and socket errors, partial transfers, vanished files, time-outs.
  constexpr int kWorthARetry[] = {10, 11, 12, 13, 23, 24, 30, 35};
  constexpr int kPartialTransfer = 23;
  for (int retries = 5;;) {
    RunRsync(destination, arguments);
    if (result_ == 0) return;
    TARVIN_LOG(3, "rsync output: '%s'", output_.c_str());
    if (std::count(std::begin(kWorthARetry), std::end(kWorthARetry), result_) == 0) return;
    if (--retries == 0) return;
    TARVIN_LOG(4, "An error (rsync code %d) occured while syncing files. Retries left: %d", result_,
               retries);
    if (result_ == kPartialTransfer && std::erase(arguments, "-l") > 0) {
      TARVIN_LOG(4, "Try skip copy symlinks as symlinks");
    }
  }
}

void SyncUserFiles::RunRsync(const Connection& destination,
                             const std::vector<std::string>& arguments) {
  if (dst_.local) {
    trel_proc::Execute rsync(arguments, kCaptureAll);
    rsync.SetUser(user_);
    rsync.SetDir(dst_.path);
    output_ = rsync.Str();
    result_ = rsync.Result();
  } else {
    destination->Execute("su -s /bin/sh -c '" + str::Join(arguments, " ") + "' " + user_ + " 2>&1");
    output_ = destination->Str();
    result_ = destination->Result();
  }
}

void SyncUserFiles::RestoreAuthorizedKeys(const Connection& source, const std::string& saved,
                                          const std::string& key) const {
  const bool had_keys = !saved.empty();
  source->Execute(
      AsUser(had_keys ? "cat > ~/.ssh/authorized_keys" : "rm -f ~/.ssh/authorized_keys"));
  // rm does not read the key that it is given.
  source->In() << (had_keys ? saved : key);
  source->CloseIn();
  if (source->Result() == 0) return;
  if (had_keys) {
    TARVIN_LOG(4, "failed to restore original state of source remote authorized_keys file");
  } else {
    TARVIN_LOG(4, "failed to remove source remote authorized_keys file");
  }
}

// --- Mail and packages -----------------------------------------------------------------------

namespace {

/// Standard output alone is captured.
constexpr int kCaptureOutput = 2;

}  // namespace

bool Mb2Md(const std::string& user, const std::string& src, const std::string& dst,
           std::string& output) {
  for (const auto* dir : {&src, &dst}) {
    if (!trel_file::Exists(*dir)) throw trel_err::Error("tarvin", "dir_not_exists", *dir);
  }
  const std::string program = trel_file::GetFullPath("mb2md");
  if (program.empty()) throw trel_err::Missed("mb2md_not_exists", "");
  trel_proc::Execute convert(program + " -s" + src + " -R -d " + dst, kCaptureOutput);
  convert.SetUser(user);
  output = convert.Str();
  return convert.Result() == 0;
}

int IsMailDirEmail(const std::string& dir) {
  if (!trel_file::Exists(dir)) throw trel_err::Missed("email_dir", "");
  if (!trel_file::Info(dir, 2).IsDir()) throw trel_err::Error("tarvin", "tmp_not_dir", dir);
  bool mbox = false;
  bool maildir = false;
  trel_file::Dir entries(dir);
  while (entries.Read()) {
    if (!entries.Info(false).IsDir()) continue;
    if (entries.name() == "mbox") mbox = true;
    if (entries.name() == ".maildir") maildir = true;
  }
  if (mbox && maildir) return 1;
  if (maildir) return 3;
  return mbox ? 2 : 0;
}

bool PkgInstall(const std::string& package) {
  return trel_proc::Execute("sbin/pkginstall.sh " + package, kCaptureOutput).Result() == 0;
}

bool PkgInfo(const std::string& package, std::string& info) {
  trel_proc::Execute query("sbin/pkginfo.sh show " + package, kCaptureOutput);
  info = query.Str();
  return query.Result() == 0;
}

}  // namespace tarvin
