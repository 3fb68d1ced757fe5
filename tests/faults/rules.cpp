#include "faults/rules.h"

namespace faults {
namespace {

constexpr auto kSource = Channel::kSourcePanel;
constexpr auto kLocal = Channel::kLocalPanel;
constexpr auto kFile = Channel::kFile;
constexpr auto kMailSsh = Channel::kMailSsh;
constexpr auto kCopySsh = Channel::kCopySsh;

// What may stay behind.
constexpr char kShell[] = "the shell on";
constexpr char kKey[] = "the key in authorized_keys, .ssh of root";
constexpr char kKeyAlone[] = "the key in authorized_keys";
constexpr char kNoKeys[] = "no authorized_keys";

}  // namespace

// clang-format off
const std::vector<Rule>& Rules() {
  using S = Step;
  using E = Ends;
  static const std::vector<Rule> rules{
    // Turning the shell on. There is no job before that.
    {kSource, "user.edit", S::kSwitch, E::kJob, E::kJob, "", "", "reads the user's form: is the shell on?"},
    {kSource, "user.edit, shell on", S::kSwitch, E::kJob, E::kJob, "", kShell, "turns the shell on"},
    {kSource, "session.newkey", S::kSession, E::kSession, E::kSession, "", "", "registers a one-time login key"},
    {kSource, "auth", S::kSession, E::kSession, E::kSession, "", "", "logs in as the user"},

    // Databases: what is needed for all of them ends the step, the rest one database or one user.
    {kLocal, "optionlist.edit", S::kDatabases, E::kDatabases, E::kDatabases, "", "", "asks whether names keep capitals"},
    {kLocal, "db", S::kDatabases, E::kDatabases, E::kDatabases, "", "", "lists the databases here"},
    {kLocal, "db.users", S::kDatabases, E::kDatabases, E::kDatabases, "", "", "lists the users of one's databases here"},
    {kLocal, "db.server", S::kDatabases, E::kDatabases, E::kDatabases, "", "", "lists the database servers here"},
    {kSource, "dbconf", S::kDatabases, E::kDatabases, E::kDatabases, "", "", "lists the database servers there"},
    {kSource, "dbconf.edit", S::kDatabases, E::kDatabases, E::kDatabases, "", "", "reads one of their forms"},
    {kSource, "db.server", S::kDatabases, E::kDatabases, E::kDatabases, "", "", "lists the database servers there"},
    {kSource, "db", S::kDatabases, E::kDatabases, E::kDatabases, "", "", "lists the user's databases"},
    {kSource, "db.users", S::kDatabases, E::kDatabases, E::kDatabases, "", "", "lists the users of a database"},
    {kSource, "db.users.edit", S::kDatabases, E::kDatabases, E::kDatabases, "", "", "reads a database user's form"},
    {Channel::kDump, "fetch", S::kDatabases, E::kDatabase, E::kDatabase, "db_dump", "", "fetches a dump"},
    {kLocal, "db.edit", S::kDatabases, E::kDatabase, E::kDatabase, "db_restore", "", "creates a database"},
    {kLocal, "db.restore", S::kDatabases, E::kDatabase, E::kDatabase, "db_restore", "", "fills a database from its dump"},
    {kLocal, "db.users.edit", S::kDatabases, E::kNothing, E::kNothing, "db_user_create", "", "creates a database user"},
    {kLocal, "problems.register", S::kDatabases, E::kNothing, E::kNothing, "", "", "registers a problem"},

    // Rights of mail files: a command that ran and failed is only logged.
    {kMailSsh, "login", S::kFiles, E::kFiles, E::kFiles, "", "", "connects and logs in"},
    {kMailSsh, "uname -a", S::kFiles, E::kFiles, E::kNothing, "", "", "asks for the system"},
    {kMailSsh, "cat /etc/passwd", S::kFiles, E::kFiles, E::kMail, "", "", "reads the accounts"},
    {kMailSsh, "find directories", S::kFiles, E::kFiles, E::kNothing, "", "", "opens mail directories to the group"},
    {kMailSsh, "find files", S::kFiles, E::kFiles, E::kNothing, "", "", "opens mail files to the group"},

    // The copy. From the first change on the source until it is put back, a failure leaves what
    // was done by then.
    {Channel::kChild, "ssh-keygen", S::kFiles, E::kFiles, E::kFiles, "", "", "makes the key pair of the copy"},
    {kCopySsh, "login", S::kFiles, E::kFiles, E::kFiles, "", "", "connects and logs in"},
    {kCopySsh, "test -e", S::kFiles, E::kFiles, E::kCopy, "", "", "asks whether there is a home to copy"},
    {kCopySsh, "uname", S::kFiles, E::kFiles, E::kFiles, "", "", "asks for the system"},
    {kCopySsh, "read authorized_keys", S::kFiles, E::kFiles, E::kNothing, "", kNoKeys, "reads what is to be put back"},
    {kCopySsh, "echo ~user", S::kFiles, E::kFiles, E::kFiles, "", "", "asks for the home"},
    {kCopySsh, "mkdir .ssh", S::kFiles, E::kFiles, E::kFiles, "", "", "makes ~/.ssh"},
    {kCopySsh, "chown .ssh to root", S::kFiles, E::kFiles, E::kFiles, "", ".ssh of root", "takes ~/.ssh"},
    {kCopySsh, "append key", S::kFiles, E::kFiles, E::kFiles, "", kKey, "appends the key of the copy"},
    {kCopySsh, "chown .ssh to user", S::kFiles, E::kFiles, E::kFiles, "", kKey, "gives ~/.ssh back"},
    {kCopySsh, "chmod authorized_keys", S::kFiles, E::kFiles, E::kFiles, "", kKeyAlone, "protects authorized_keys"},
    {Channel::kChild, "rsync", S::kFiles, E::kNothing, E::kNothing, "files", "", "copies the home"},
    {kCopySsh, "put back authorized_keys", S::kFiles, E::kFiles, E::kNothing, "", kKeyAlone, "puts authorized_keys back"},
    {kLocal, "webdomain.diraccess.repair", S::kFiles, E::kFiles, E::kFiles, "", "", "repairs rights of web directories"},

    // Certificates: what is needed for all of them ends the step, one that is refused is only logged.
    {kSource, "actionlist", S::kFiles, E::kFiles, E::kFiles, "", "", "asks for the letsencrypt plugin there"},
    {kLocal, "actionlist", S::kFiles, E::kFiles, E::kFiles, "", "", "asks for the letsencrypt plugin here"},
    {kSource, "sslcert", S::kFiles, E::kFiles, E::kFiles, "", "", "lists the user's certificates"},
    {kSource, "letsencrypt.backup.get", S::kFiles, E::kFiles, E::kFiles, "", "", "reads a certificate's record"},
    {kLocal, "letsencrypt.backup.set", S::kFiles, E::kNothing, E::kNothing, "", "", "hands a certificate over"},

    // Files. One that cannot be removed stays.
    {kFile, "open parameters", S::kSwitch, E::kJob, E::kJob, "", "", "opens the parameters file"},
    {kFile, "read parameters", S::kSwitch, E::kJob, E::kJob, "", "", "reads it"},
    {kFile, "clear dump", S::kDatabases, E::kDatabases, E::kDatabases, "", "", "clears the place of a dump"},
    {kFile, "create dump", S::kDatabases, E::kDatabases, E::kDatabases, "", "", "makes the file of a dump"},
    {kFile, "open dump", S::kDatabases, E::kDatabases, E::kDatabases, "", "", "opens it"},
    {kFile, "protect dump", S::kDatabases, E::kDatabases, E::kDatabases, "", "", "protects it"},
    {kFile, "create part", S::kDatabases, E::kDatabase, E::kDatabase, "db_dump", "", "makes the file that a dump is fetched into"},
    {kFile, "write part", S::kDatabases, E::kDatabase, E::kDatabase, "db_dump", "", "writes it"},
    {kFile, "protect part", S::kDatabases, E::kDatabase, E::kDatabase, "db_dump", "", "protects it"},
    {kFile, "rename part", S::kDatabases, E::kDatabase, E::kDatabase, "db_dump", "", "puts it in its place"},
    {kFile, "remove dump", S::kDatabases, E::kNothing, E::kNothing, "", "the dump", "removes a dump"},
    {kFile, "look for home", S::kFiles, E::kNothing, E::kNothing, "", "", "looks where the key can go"},
    {kFile, "look for private key", S::kFiles, E::kNothing, E::kNothing, "", "", "looks whether the name is free"},
    {kFile, "look for public key", S::kFiles, E::kNothing, E::kNothing, "", "", "looks whether the name is free"},
    {kFile, "look for public key, again", S::kFiles, E::kFiles, E::kFiles, "", "", "looks whether the key was made"},
    {kFile, "open public key", S::kFiles, E::kFiles, E::kFiles, "", "", "opens the public key"},
    {kFile, "read public key", S::kFiles, E::kFiles, E::kFiles, "", "", "reads it"},
    {kFile, "look for private key, again", S::kFiles, E::kNothing, E::kNothing, "", "the private key", "looks whether it is to be removed"},
    {kFile, "remove private key", S::kFiles, E::kNothing, E::kNothing, "", "the private key", "removes the private key"},
    {kFile, "look for public key, again and again", S::kFiles, E::kNothing, E::kNothing, "", "the public key", "looks whether it is to be removed"},
    {kFile, "remove public key", S::kFiles, E::kNothing, E::kNothing, "", "the public key", "removes the public key"},
    {kFile, "remove parameters", S::kEnding, E::kProcess, E::kProcess, "", "the parameters file", "removes the parameters file"},

    // The end. The shell comes first; what keeps it from being turned off ends the process.
    {kSource, "user.edit, again", S::kShellOff, E::kProcess, E::kProcess, "", kShell, "reads the user's form once more"},
    {kSource, "user.edit, shell off", S::kShellOff, E::kProcess, E::kProcess, "", kShell, "turns the shell off"},
    {kSource, "user.disable", S::kEnding, E::kNothing, E::kNothing, "ruser_suspend", "", "disables the account there"},
    {kLocal, "user.resume", S::kEnding, E::kNothing, E::kNothing, "user_resume", "", "puts the account here into service"},
  };
  return rules;
}
// clang-format on

const Rule* RuleOf(const Call& call) {
  for (const auto& rule : Rules()) {
    if (rule.channel == call.channel && rule.key == call.key) return &rule;
  }
  return nullptr;
}

std::string Words(Ends ends) {
  switch (ends) {
    case Ends::kNothing:
      return "everything else goes on";
    case Ends::kDatabase:
      return "ends this database; the others go on";
    case Ends::kMail:
      return "ends the repair of mail rights; the copy goes on";
    case Ends::kCopy:
      return "ends the copy; what comes behind it goes on";
    case Ends::kDatabases:
      return "ends the database step; the files go on";
    case Ends::kFiles:
      return "ends the file steps";
    case Ends::kSession:
      return "ends the job before its steps";
    case Ends::kJob:
      return "there is no job";
    case Ends::kProcess:
      break;
  }
  return "ends the process at once";
}

}  // namespace faults
