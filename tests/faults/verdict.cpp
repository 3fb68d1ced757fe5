#include "faults/verdict.h"

#include <algorithm>
#include <filesystem>

#include "support/scratch.h"

namespace faults {
namespace {

namespace fs = std::filesystem;

bool Has(const std::string& text, const std::string& part) {
  return text.find(part) != std::string::npos;
}

constexpr char kParams[] = "the parameters file";
constexpr char kAccount[] = "the account suspended";

bool ParamsAreLeft(const Stage& stage) {
  return fs::exists(fs::symlink_status(stage.world.dir + "/params"));
}

/// What is in the home that neither was there nor was copied, and the copy's keys wherever they
/// are.
std::set<std::string> FilesLeft(const Stage& stage) {
  std::set<std::string> left;
  for (const auto& entry : fs::directory_iterator(stage.world.dir + "/home")) {
    const std::string name = entry.path().filename();
    if (name != "index.html" && name != "notes") left.insert(NameOfLeft(name));
  }
  for (const auto& key : stage.keys) {
    if (fs::exists(fs::symlink_status(key))) left.insert(NameOfLeft(fs::path(key).filename()));
  }
  return left;
}

/// Collects what is wrong.
class Judgement {
 public:
  Judgement(const Stage& stage, const Observed& observed, const Forecast& forecast)
      : stage_(stage), observed_(observed), forecast_(forecast) {}

  std::vector<std::string> Make() {
    CheckCalls();
    CheckEnd();
    CheckProblems();
    CheckState();
    CheckFiles();
    CheckLeftovers();
    CheckSecrets();
    for (const auto& trespass : stage_.world.trespasses) wrong_.push_back(trespass);
    return std::move(wrong_);
  }

 private:
  template <typename Value>
  void Expect(const std::string& what, const Value& wanted, const Value& found) {
    if (wanted == found) return;
    std::string text = what + " is not as foreseen";
    if constexpr (std::is_same_v<Value, std::string>) {
      text += ": '" + found + "', not '" + wanted + "'";
    }
    wrong_.push_back(text);
  }

  void CheckCalls() {
    const auto& wanted = forecast_.calls;
    const auto& found = stage_.calls;
    const auto [a, b] = std::mismatch(wanted.begin(), wanted.end(), found.begin(), found.end());
    if (a == wanted.end() && b == found.end()) return;
    wrong_.push_back("call " + std::to_string(b - found.begin()) + " is '" +
                     (b == found.end() ? "none" : Describe(*b)) + "', not '" +
                     (a == wanted.end() ? "none" : Describe(*a)) + "'");
  }

  void CheckEnd() {
    const auto text = [](End end, int status) {
      if (end == End::kThrows) return std::string("throws");
      return end == End::kReturns ? "returns " + std::to_string(status) : "is terminated";
    };
    Expect("the end", text(forecast_.end, forecast_.status), text(observed_.end, observed_.status));
    if (!Has(observed_.thrown, forecast_.thrown)) {
      wrong_.push_back("throws '" + observed_.thrown + "' without '" + forecast_.thrown + "'");
    }
  }

  void CheckProblems() {
    std::string wanted;
    std::string found;
    for (const auto& one : forecast_.problems) wanted += one.object + " " + one.about + "; ";
    for (const auto& one : stage_.world.problems) found += one.object + " " + one.about + "; ";
    Expect("what is registered", wanted, found);
    if (wanted != found) return;
    for (std::size_t i = 0; i < forecast_.problems.size(); ++i) {
      const auto& info = stage_.world.problems[i].info;
      if (!Has(info, forecast_.problems[i].info)) {
        wrong_.push_back("problem " + forecast_.problems[i].object + " says '" +
                         info.substr(0, 200) + "' without '" + forecast_.problems[i].info + "'");
      }
    }
  }

  void CheckState() {
    const auto& wanted = forecast_.state;
    const auto& found = stage_.world.state;
    const auto on_off = [](bool on) { return std::string(on ? "on" : "off"); };
    Expect("the shell at the source", on_off(wanted.shell_on), on_off(found.shell_on));
    Expect("the account at the source", on_off(!wanted.disabled_at_source),
           on_off(!found.disabled_at_source));
    Expect("authorized_keys", wanted.authorized_keys.value_or("(none)"),
           found.authorized_keys.value_or("(none)"));
    Expect("the owner of .ssh", wanted.ssh_owner, found.ssh_owner);
    Expect("the account here", on_off(wanted.in_service), on_off(found.in_service));
    Expect("the repair of web directories", on_off(wanted.web_repaired),
           on_off(found.web_repaired));
    Expect("the copy", on_off(wanted.files_copied), on_off(found.files_copied));
    Expect("what is here of databases", wanted.databases, found.databases);
    Expect("what is here of certificates", wanted.certificates, found.certificates);
  }

  void CheckFiles() {
    const bool left = ParamsAreLeft(stage_);
    if (left != forecast_.params_left) {
      wrong_.push_back(left ? "the parameters file is left" : "the parameters file is gone");
    }
    const auto found = FilesLeft(stage_);
    const auto& wanted = forecast_.files_left;
    Expect("what is left of files", str::Join({wanted.begin(), wanted.end()}, ", "),
           str::Join({found.begin(), found.end()}, ", "));
    Expect("the file of another", std::string("S3-victim\n"),
           support::ReadFile(stage_.world.dir + "/victim"));
  }

  /// Nothing stays but what the rules of the calls that failed say. Whether the account here and
  /// the parameters file stay follows from how the job ended.
  void CheckLeftovers() {
    for (const auto& left : Leftovers(stage_)) {
      const bool allowed = std::any_of(stage_.met.begin(), stage_.met.end(), [&](const Call& call) {
        const Rule* rule = RuleOf(call);
        // A directory that somebody put there is not ours to remove.
        const bool planted =
            left == "the dump" && (call.key == "clear dump" || call.key == "rename part");
        return rule != nullptr && (Has(rule->leaves, left) || planted);
      });
      if (!allowed && left != kAccount && left != kParams) wrong_.push_back("leaves " + left);
    }
  }

  void CheckSecrets() {
    for (const auto& line : stage_.log->lines) {
      // The dumps of whole documents that the job writes at full detail.
      const bool dump =
          line[0] == '9' && (Has(line, "imported db users xml:") || Has(line, "result xml '"));
      if (!dump) CheckForSecrets("the log", line);
    }
    for (const auto& word : stage_.arguments) CheckForSecrets("an argument", word);
    for (const auto& one : stage_.world.problems) CheckForSecrets("a problem", one.info);
    CheckForSecrets("what is thrown", observed_.thrown);
  }

  void CheckForSecrets(const std::string& place, const std::string& text) {
    for (const auto& secret : SecretsOf(stage_)) {
      if (Has(text, secret)) wrong_.push_back(place + " shows a secret: " + text.substr(0, 200));
    }
  }

  const Stage& stage_;
  const Observed& observed_;
  const Forecast& forecast_;
  std::vector<std::string> wrong_;
};

}  // namespace

std::vector<std::string> Judge(const Stage& stage, const Observed& observed,
                               const Forecast& forecast) {
  return Judgement(stage, observed, forecast).Make();
}

std::vector<std::string> SecretsOf(const Stage& stage) {
  auto secrets = Secrets();
  if (!stage.login_key.empty()) secrets.push_back(stage.login_key);
  return secrets;
}

std::vector<std::string> Leftovers(const Stage& stage) {
  const auto before = StateBefore(stage.world.scenario);
  const auto& now = stage.world.state;
  std::vector<std::string> left;
  if (now.shell_on && !before.shell_on) left.push_back("the shell on");
  if (now.ssh_owner != before.ssh_owner) left.push_back(".ssh of root");
  if (now.authorized_keys != before.authorized_keys) {
    left.push_back(now.authorized_keys ? "the key in authorized_keys" : "no authorized_keys");
  }
  if (ParamsAreLeft(stage)) left.push_back(kParams);
  if (!now.in_service && !stage.world.scenario.second) left.push_back(kAccount);
  // Whose dump it is does not matter to the reader.
  for (const auto& file : FilesLeft(stage)) left.push_back("the " + file.substr(0, file.find('.')));
  return left;
}

std::string Summarise(const Stage& stage, const Observed& observed) {
  std::string text = "status " + std::to_string(observed.status);
  if (observed.end == End::kThrows) text = "status 1, an error line";
  if (observed.end == End::kTerminates) text = "ended by `std::terminate`";
  std::string problems;
  for (const auto& one : stage.world.problems) {
    if (one.object == "db_alien") continue;  // registered in a smooth run too
    if (!Has(problems, "`" + one.object + "`")) str::Append(problems, "`" + one.object + "`", ", ");
  }
  text += " | " + (problems.empty() ? "none" : problems) + " | ";
  const auto left = Leftovers(stage);
  return text + (left.empty() ? "nothing" : str::Join(left, ", "));
}

}  // namespace faults
