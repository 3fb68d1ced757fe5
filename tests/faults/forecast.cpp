#include "faults/forecast.h"

#include <algorithm>
#include <set>
#include <utility>

namespace faults {
namespace {

/// Steps and objects that came to their end.
struct Ended {
  std::set<Step> steps;
  std::set<std::string> databases;
  bool mail = false;
  bool copy = false;

  bool Covers(const Call& call, const Rule& rule) const {
    const bool copies = call.channel == Channel::kCopySsh || call.key == "rsync";
    return steps.count(rule.step) > 0 ||
           (rule.step == Step::kDatabases && databases.count(DatabaseOf(call)) > 0) ||
           (mail && call.channel == Channel::kMailSsh) || (copy && copies);
  }
};

/// Walks through the calls of a smooth run, and lets the rules say what a fault makes of them.
class Walk {
 public:
  Walk(const Scenario& scenario, const Plan& plan, const std::string& said)
      : scenario_(scenario), plan_(plan), said_(said) {
    forecast_.state = StateBefore(scenario);
  }

  Forecast Run(const Calls& smooth);

 private:
  void MeetFileFault(const Calls& smooth, std::size_t behind);
  void Undo(const std::vector<Call>& smooth);
  const Fault* FaultOf(const Call& call) const;
  void Perform(const Call& call, const Rule& rule);
  void Change(const Call& call);
  void ChangeHere(const Call& call);
  void Copy(const Call& call, const Fault* fault);
  void Fail(const Call& call, const Rule& rule, const Fault& fault);
  void End(Ends ends, const Call& call, const std::string& says);
  void Register(const std::string& object, const std::string& about, const std::string& says);
  std::string SaysOf(const Call& call, const Fault& fault) const;

  const Scenario& scenario_;
  const Plan& plan_;
  const std::string& said_;
  Forecast forecast_;
  Ended ended_;
  const Fault* bad_dump_ = nullptr;
  std::string failed_copy_;  ///< what its problem says, which waits until the source is put back
  bool keys_were_read_ = false;
};

Forecast Walk::Run(const Calls& smooth) {
  for (std::size_t i = 0; i < smooth.calls.size(); ++i) {
    MeetFileFault(smooth, i);
    const auto& call = smooth.calls[i];
    const Rule* rule = RuleOf(call);
    if (rule != nullptr && !ended_.Covers(call, *rule)) Perform(call, *rule);
    if (forecast_.end == faults::End::kThrows) Undo(smooth.calls);
  }
  MeetFileFault(smooth, smooth.calls.size());
  if (plan_.fault != nullptr) {
    if (!plan_.fault->leaves.empty()) forecast_.files_left.insert(plan_.fault->leaves);
    if (plan_.fault->takes_params) forecast_.params_left = false;
  }
  return forecast_;
}

/// A fault of a file comes behind as many calls as in a smooth run.
void Walk::MeetFileFault(const Calls& smooth, std::size_t behind) {
  if (plan_.fault == nullptr || !plan_.of_file || plan_.at == smooth.files.size()) return;
  const auto& file = smooth.files.at(plan_.at);
  if (file.behind != behind) return;
  if (const Rule* rule = RuleOf(file.call)) Fail(file.call, *rule, *plan_.fault);
}

/// The end of a job that could not be made: its base is undone before the shell switch.
void Walk::Undo(const std::vector<Call>& smooth) {
  for (const auto step : {Step::kEnding, Step::kShellOff}) {
    if (!ended_.steps.insert(step).second) continue;
    for (const auto& call : smooth) {
      const Rule* rule = RuleOf(call);
      const bool late = rule != nullptr && rule->step == step && call.key != "user.disable";
      if (late && forecast_.end == faults::End::kThrows) Perform(call, *rule);
    }
  }
}

const Fault* Walk::FaultOf(const Call& call) const {
  const std::size_t index = forecast_.calls.size();
  if (plan_.fault == nullptr || plan_.of_file || index < plan_.at) return nullptr;
  if (index == plan_.at) return plan_.fault;
  const auto& first = forecast_.calls[plan_.at];
  const bool again = (plan_.fault->persists && PeerOf(call) == PeerOf(first)) ||
                     (plan_.fault->repeats && call.key == first.key);
  return again ? plan_.fault : nullptr;
}

void Walk::Perform(const Call& call, const Rule& rule) {
  const Fault* fault = FaultOf(call);
  forecast_.calls.push_back(call);
  if (call.key == "rsync") return Copy(call, fault);
  const bool refused = call.key == "db.restore" && bad_dump_ != nullptr;
  if ((fault == nullptr || fault->acted) && !refused) Change(call);
  if (fault != nullptr && fault->unnoticed) {
    bad_dump_ = fault;
  } else if (fault != nullptr) {
    Fail(call, rule, *fault);
  } else if (refused) {
    Fail(call, rule, *std::exchange(bad_dump_, nullptr));
  }
  if (call.key == "put back authorized_keys" && !failed_copy_.empty() &&
      ended_.steps.count(Step::kFiles) == 0) {
    Register("files", kUser, failed_copy_);
  }
}

/// What a call that the peer carried out changes.
void Walk::Change(const Call& call) {
  auto& state = forecast_.state;
  if (call.channel == Channel::kLocalPanel) return ChangeHere(call);
  if (call.key == "user.edit, shell on") state.shell_on = true;
  if (call.key == "user.edit, shell off") state.shell_on = false;
  if (call.key == "user.disable") state.disabled_at_source = true;
  if (call.key == "read authorized_keys") keys_were_read_ = true;
  if (call.key == "chown .ssh to root") state.ssh_owner = "root";
  if (call.key == "chown .ssh to user") state.ssh_owner = kUser;
  if (call.key == "append key") {
    state.authorized_keys = state.authorized_keys.value_or("") + kNewKey;
  }
  if (call.key == "put back authorized_keys") {
    state.authorized_keys.reset();
    if (keys_were_read_) state.authorized_keys = StateBefore(scenario_).authorized_keys;
  }
}

/// The same for the local panel.
void Walk::ChangeHere(const Call& call) {
  auto& state = forecast_.state;
  const std::string name = DatabaseOf(call);
  if (call.key == "db.edit") {
    state.databases[name].owner = kUser;
    for (const auto& sent : SourceDatabases()) {
      if (sent.name == name) state.databases[name].users.insert(sent.users.front());
    }
  } else if (call.key == "db.restore") {
    state.databases[name].owner = kUser;
    state.databases[name].content = DumpOf(name);
  } else if (call.key == "db.users.edit") {
    state.databases[name].owner = kUser;
    state.databases[name].users.insert(call.object.substr(name.size() + 1));
  } else if (call.key == "letsencrypt.backup.set") {
    state.certificates.insert(call.object);
  } else if (call.key == "user.resume") {
    state.in_service = true;
  } else if (call.key == "webdomain.diraccess.repair") {
    state.web_repaired = true;
  } else if (call.key == "problems.register") {
    std::string about = call.object;
    const std::string object = str::GetWord(about, " ");
    forecast_.problems.push_back({object, about, ""});
  }
}

/// rsync: five runs at most, and a second one only after a status that is worth it.
void Walk::Copy(const Call& call, const Fault* fault) {
  static const std::set<int> kWorthARetry{10, 11, 12, 13, 23, 24, 30, 35};
  for (int run = 1;; ++run) {
    if (fault == nullptr) {
      forecast_.state.files_copied = true;
      return;
    }
    const int status = fault->kind == Fault::Kind::kStatus ? fault->status : 255;
    if (status == 23 || status == 24) forecast_.state.files_copied = true;
    if (kWorthARetry.count(status) == 0 || run == 5) break;
    fault = FaultOf(call);
    forecast_.calls.push_back(call);
  }
  failed_copy_ = fault->kind == Fault::Kind::kStatus ? fault->says : "refused";
}

void Walk::Fail(const Call& call, const Rule& rule, const Fault& fault) {
  const bool by_status = fault.kind == Fault::Kind::kStatus;
  const std::string says = SaysOf(call, fault);
  if (call.channel == Channel::kFile && *rule.leaves != '\0' && rule.step != Step::kEnding) {
    const std::string name = std::string(rule.leaves).substr(sizeof "the");
    forecast_.files_left.insert(name + (call.object.empty() ? "" : "." + call.object));
  }
  if (by_status && call.key == "read authorized_keys") keys_were_read_ = false;
  if (*rule.problem != '\0') {
    const std::string name = DatabaseOf(call);
    const bool of_user = std::string(rule.problem) == "db_user_create";
    Register(rule.problem, of_user ? call.object : (name.empty() ? kUser : name), says);
  }
  End(by_status ? rule.ends_on_status : rule.ends, call, says);
}

void Walk::End(Ends ends, const Call& call, const std::string& says) {
  auto& steps = ended_.steps;
  switch (ends) {
    case Ends::kNothing:
      return;
    case Ends::kDatabase:
      ended_.databases.insert(DatabaseOf(call));
      return;
    case Ends::kMail:
      ended_.mail = true;
      return;
    case Ends::kCopy:
      ended_.copy = true;
      return;
    case Ends::kDatabases:
    case Ends::kFiles:
      steps.insert(ends == Ends::kFiles ? Step::kFiles : Step::kDatabases);
      forecast_.status = 1;
      return Register("tarvin_critical", kUser, says);
    case Ends::kSession:
    case Ends::kJob:
      steps.insert({Step::kSwitch, Step::kSession, Step::kDatabases, Step::kFiles});
      if (ends == Ends::kJob) steps.insert({Step::kShellOff, Step::kEnding});
      forecast_.end = faults::End::kThrows;
      forecast_.thrown = says;
      forecast_.params_left = ends == Ends::kJob;
      return;
    case Ends::kProcess:
      // The job itself still stands, unless its making failed and it was undone before.
      forecast_.params_left = forecast_.end == faults::End::kReturns;
      forecast_.end = faults::End::kTerminates;
      forecast_.thrown.clear();
      steps.insert({Step::kShellOff, Step::kEnding});
  }
}

void Walk::Register(const std::string& object, const std::string& about, const std::string& says) {
  const bool critical = object == "tarvin_critical";
  Call call{Channel::kLocalPanel, "problems.register", object + (critical ? "" : " " + about)};
  const Fault* fault = FaultOf(call);
  forecast_.calls.push_back(call);
  if (fault == nullptr || fault->acted) forecast_.problems.push_back({object, about, says});
}

std::string Walk::SaysOf(const Call& call, const Fault& fault) const {
  if (fault.kind == Fault::Kind::kFailure) return said_;
  if (call.key == "look for public key, again") return "missed file";
  // These go out by the routine that names the refused function.
  const bool named =
      call.channel == Channel::kSourcePanel &&
      (call.key.rfind("user.", 0) == 0 || call.key == "dbconf.edit" || call.key == "db.users.edit");
  if (fault.name == "permission denied" && named) {
    return "func_access: " + call.key.substr(0, call.key.find(','));
  }
  return fault.says;
}

}  // namespace

std::string NameOfLeft(const std::string& file) {
  if (file.rfind("tarvin_key", 0) == 0) {
    return file.find(".pub") != std::string::npos ? "public key" : "private key";
  }
  constexpr char kDump[] = "tarvin_dump.";
  return file.rfind(kDump, 0) == 0 ? "dump." + file.substr(sizeof kDump - 1) : file;
}

std::string DatabaseOf(const Call& call) {
  std::string object = call.object;
  if (call.key == "problems.register") {
    if (object.rfind("db_", 0) != 0) return "";
    str::GetWord(object, " ");
  } else if (call.channel == Channel::kDump || call.channel == Channel::kFile ||
             call.key.rfind("db.", 0) == 0) {
    return object.substr(0, object.find('/'));
  } else {
    return "";
  }
  return object.substr(0, object.find('/'));
}

Forecast Foresee(const Scenario& scenario, const Calls& smooth, const Plan& plan,
                 const std::string& said) {
  return Walk(scenario, plan, said).Run(smooth);
}

}  // namespace faults
