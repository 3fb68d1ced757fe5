// The source host's list of accounts: rights are given to the mail accounts of the user who is
// moved, and to nobody else.

#include "fuzz/fuzz.h"
#include "support/seam.h"
#include "tarvin/tarvin_bin.h"
#include "trel/str.h"

namespace {

/// A host that shows `passwd`, and on which every command ends well.
class Host : public trel_seam::Ssh {
 public:
  std::unique_ptr<trel_seam::SshConnection> Connect(const trel_seam::SshTarget&) override {
    return std::make_unique<Connection>(*this);
  }
  std::string passwd;
  std::vector<std::string> commands;

 private:
  class Connection : public trel_seam::SshConnection {
   public:
    explicit Connection(Host& host) : host_(host) {}
    void Start(const std::string& command) override { host_.commands.push_back(command); }
    trel_seam::SshOutcome Finish(const std::string&, bool) override {
      const bool shows = host_.commands.back() == "cat /etc/passwd";
      return {shows ? host_.passwd : "Linux src 6.1\n", 0};
    }

   private:
    Host& host_;
  };
};

/// A job of generation 4 for the account user1.
tarvin_bin::Import4& Job() {
  const auto panel = std::make_shared<support::ScriptedPanel>();
  trel_seam::Current().http = panel;
  static tarvin_bin::Import4 job(
      {{"username", "user1"}, {"remote_type", "vortrel4"}, {"user_disabled", "on"}}, "");
  return job;
}

/// Homes by account, of a name that is there twice the later one.
StringMap HomesIn(const std::string& passwd) {
  StringMap homes;
  for (const auto& raw : fuzz::Lines(passwd)) {
    std::string line = str::Trim(raw);
    if (line.empty() || line.starts_with('#')) continue;
    std::vector<std::string> fields;
    while (fields.size() < 6) fields.push_back(str::GetWord(line, ':'));
    homes[fields[0]] = fields[5];
  }
  return homes;
}

std::vector<std::string> CommandsFor(const StringMap& homes) {
  std::vector<std::string> commands{"uname -a", "cat /etc/passwd"};
  const auto owner = homes.find("user1");
  if (owner == homes.end()) return commands;
  for (const auto& [name, home] : homes) {
    if (!name.starts_with("virtuser_") || !home.starts_with(owner->second) ||
        home.find("email") == std::string::npos) {
      continue;
    }
    for (const std::string what : {"d -print0|xargs -0 chmod g+rx", "f -print0|xargs -0 chmod g+r"})
      commands.push_back("su -s /bin/sh -c \"find " + home + " -type " + what + "\" " + name +
                         " 2>&1");
  }
  return commands;
}

}  // namespace

void fuzz::Try(std::string_view input) {
  static auto& job = Job();
  const auto host = std::make_shared<Host>();
  trel_seam::Current().ssh = host;
  host->passwd = std::string(input);
  job.FixRemoteEmailFileAccess(std::make_shared<trel_rpc::SSHpass>("src", "root", "secret", 22));
  ALWAYS(host->commands == CommandsFor(HomesIn(host->passwd)));
}
