#include "faults/stage.h"

#include <unistd.h>

#include <random>

#include "faults/naming.h"

namespace faults {
namespace {

constexpr char kSourcePlace[] = "src.example:1500: ";
constexpr char kSshPlace[] = "src.example:2222: ";

class Panels : public trel_seam::Http {
 public:
  explicit Panels(Stage& stage) : stage_(stage) {}

  trel_seam::HttpReply Post(const trel_seam::HttpPost& post) override {
    const bool local = !post.socket.empty();
    const auto channel = local ? Channel::kLocalPanel : Channel::kSourcePanel;
    const auto query = ParseQuery(post.body);
    const auto key = query.find("key");
    if (key != query.end()) stage_.login_key = key->second;
    const auto call = NameQuery(channel, query, stage_.calls);
    CheckManner(call, post);
    const Fault* fault = stage_.Meet(call);
    std::string answer;
    if (fault == nullptr || fault->acted) {
      answer = local ? AnswerHere(stage_.world, query) : AnswerOfSource(stage_.world, query);
    }
    if (fault == nullptr) return {200, answer};
    stage_.Wait(fault->seconds);
    if (fault->kind == Fault::Kind::kReply) return {fault->status, fault->body};
    Fail(local ? post.socket + ": " : kSourcePlace, *fault, post);
  }

  int Get(const std::string& url, int timeout,
          const std::function<void(std::string_view)>& sink) override {
    const auto call = NameDump(url);
    const std::string dump = DumpOf(call.object);
    const Fault* fault = stage_.Meet(call);
    if (fault == nullptr) {
      sink(dump);
      return 200;
    }
    stage_.Wait(fault->seconds);
    if (fault->kind == Fault::Kind::kReply) {
      if (fault->status == 200) sink(fault->body);
      return fault->status;
    }
    if (fault->acted) sink(dump.substr(0, dump.size() / 2));
    trel_seam::HttpPost post;
    post.timeout = timeout;
    Fail(kSourcePlace, *fault, post);
  }

 private:
  /// Waiting has a limit, but for certificates; a submission goes out once.
  void CheckManner(const Call& call, const trel_seam::HttpPost& post) {
    constexpr int kLimit = 45;
    const bool of_certificates =
        call.key == "actionlist" || call.key == "sslcert" || call.key == "letsencrypt.backup.get";
    if (call.channel == Channel::kSourcePanel && !of_certificates && post.timeout != kLimit) {
      stage_.world.Trespass(Describe(call) + " is waited for without limit");
    }
    if (post.body.find("sok=ok") != std::string::npos && !post.at_most_once) {
      stage_.world.Trespass(Describe(call) + " may be sent twice");
    }
  }

  [[noreturn]] void Fail(const std::string& place, const Fault& fault,
                         const trel_seam::HttpPost& post) {
    const std::string text = fault.text.empty() ? TimeoutText(post.timeout) : fault.text;
    const bool doubtful = post.at_most_once && fault.sent;
    stage_.said = place + text;
    throw trel_seam::HttpFailure(
        stage_.said + (doubtful ? "; whether the request was carried out is not known" : ""));
  }

  Stage& stage_;
};

class Connection : public trel_seam::SshConnection {
 public:
  Connection(Stage& stage, Channel channel) : stage_(stage), channel_(channel) {}

  void Start(const std::string& command) override {
    command_ = command;
    stage_.arguments.push_back(command);
    fault_ = stage_.Meet(NameCommand(channel_, command));
    if (Fails() && !fault_->sent) Fail();
  }

  trel_seam::SshOutcome Finish(const std::string& input, bool) override {
    Ending ending;
    if (fault_ == nullptr || fault_->acted) {
      ending = RunAtSource(stage_.world, command_, input);
    }
    if (Fails()) Fail();
    if (fault_ == nullptr) return {ending.output, ending.status};
    return {fault_->body, fault_->status};
  }

 private:
  bool Fails() const { return fault_ != nullptr && fault_->kind == Fault::Kind::kFailure; }
  [[noreturn]] void Fail() {
    stage_.said = kSshPlace + fault_->text;
    throw trel_seam::SshFailure(fault_->step, stage_.said);
  }

  Stage& stage_;
  Channel channel_;
  std::string command_;
  const Fault* fault_ = nullptr;
};

class Hosts : public trel_seam::Ssh {
 public:
  explicit Hosts(Stage& stage) : stage_(stage) {}

  std::unique_ptr<trel_seam::SshConnection> Connect(const trel_seam::SshTarget&) override {
    const auto channel = ++connections_ == 1 ? Channel::kMailSsh : Channel::kCopySsh;
    if (const Fault* fault = stage_.Meet({channel, "login", ""})) {
      stage_.Wait(fault->seconds);
      stage_.said = kSshPlace + fault->text;
      throw trel_seam::SshFailure(fault->step, stage_.said);
    }
    return std::make_unique<Connection>(stage_, channel);
  }

 private:
  Stage& stage_;
  int connections_ = 0;
};

class Children : public trel_seam::Processes {
 public:
  explicit Children(Stage& stage) : stage_(stage) {}

  trel_seam::ProcessOutcome Run(const trel_seam::ProcessRequest& request) override {
    for (const auto& argument : request.arguments) stage_.arguments.push_back(argument);
    const auto call = NameChild(request);
    const Fault* fault = stage_.Meet(call);
    Ending ending;
    if (fault != nullptr) ending = EndingOf(*fault);
    if (call.key == "rsync") {
      CopyFiles(stage_.world, ending.status);
    } else if (fault == nullptr || fault->acted) {
      const std::string& command = request.arguments.at(2);
      MakeKeys(command.substr(command.rfind(' ') + 1));
      stage_.Change(call.key + ", done");
    }
    return {ending.output, ending.status};
  }

 private:
  /// A fault that is no ending of a child is that of the connection which the child makes.
  static Ending EndingOf(const Fault& fault) {
    // As much as is kept of a child's output.
    const std::string before(fault.long_output ? 16 << 20 : 0, 'x');
    if (fault.kind == Fault::Kind::kStatus) return {before + "\n" + fault.body, fault.status};
    return {"ssh: connect to host src.example port 2222: Connection refused\n", 255};
  }

  Stage& stage_;
};

}  // namespace

Stage::Stage(const Scenario& scenario, const std::string& dir, const Plan& plan) : plan_(plan) {
  world.scenario = scenario;
  world.dir = dir;
  world.state = StateBefore(scenario);
  // Runs go on side by side, and some keys are made in /tmp.
  std::minstd_rand bytes(static_cast<unsigned>(getpid()));
  for (int i = 0; i < 4096; ++i) host->random += static_cast<char>(bytes() >> 8);
}

trel_seam::Seam Stage::MakeSeam() {
  return {std::make_shared<Panels>(*this), std::make_shared<Hosts>(*this),
          std::make_shared<Children>(*this), host, log};
}

const Fault* Stage::Meet(const Call& call) {
  const std::size_t index = calls.size();
  calls.push_back(call);
  if (plan_.fault == nullptr) return nullptr;
  Change(call.key);
  if (plan_.of_file || plan_.fault->kind == Fault::Kind::kChange) return nullptr;
  if (index < plan_.at) return nullptr;
  const bool again = (plan_.fault->persists && PeerOf(call) == PeerOf(calls[plan_.at])) ||
                     (plan_.fault->repeats && call.key == calls[plan_.at].key);
  if (index != plan_.at && !again) return nullptr;
  ++fired;
  met.push_back(call);
  return plan_.fault;
}

void Stage::Change(const std::string& at) {
  if (plan_.fault == nullptr || plan_.fault->kind != Fault::Kind::kChange) return;
  if (fired == 0 && plan_.fault->change_at == at) {
    ++fired;
    met.push_back(plan_.fault->shows);
    plan_.fault->change(world.dir);
  } else if (fired == 1 && at == "problems.register" && plan_.fault->undo != nullptr) {
    ++fired;
    plan_.fault->undo(world.dir);
  }
}

int Stage::Meet(const std::string& operation, const std::string& path) {
  const auto call = NameFile(operation, path, file_calls);
  if (!call) return 0;
  if (path.find("tarvin_key") != std::string::npos) keys.insert(path);
  const std::size_t index = file_calls.size();
  file_calls.push_back({*call, calls.size()});
  const bool meets = plan_.fault != nullptr && plan_.of_file && index == plan_.at &&
                     plan_.fault->kind == Fault::Kind::kErrno;
  if (!meets) return 0;
  ++fired;
  met.push_back(*call);
  return plan_.fault->status;
}

}  // namespace faults
