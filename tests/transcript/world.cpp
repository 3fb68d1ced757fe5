#include "transcript/world.h"

#include <filesystem>
#include <stdexcept>

#include "transcript/answers.h"

namespace transcript {
namespace {

std::string FromHex(const std::string& digits) {
  std::string bytes;
  for (std::size_t i = 0; i + 1 < digits.size(); i += 2) {
    bytes += static_cast<char>(std::stoi(digits.substr(i, 2), nullptr, 16));
  }
  return bytes;
}

class ScriptedHttp : public trel_seam::Http {
 public:
  ScriptedHttp(const World& world, Story& story) : world_(world), story_(story) {}

  trel_seam::HttpReply Post(const trel_seam::HttpPost& post) override {
    std::string event = post.socket.empty() ? "source " : "local ";
    if (!post.socket.empty() && post.agent != "tarvin") event += "(as " + post.agent + ") ";
    if (!post.socket.empty() && post.url != "http://vortrel/") event += "at " + post.url + " ";
    if (post.socket.empty() && post.timeout != 45) {
      event += "(" + std::to_string(post.timeout) + " s) ";
    }
    if (post.language != world_.language) {
      event += post.language.empty() ? "(in no language) " : "(in " + post.language + ") ";
    }
    if (post.socket.empty() && post.url != "https://src.example:1500/panel") {
      event += "at " + post.url + " ";
    }
    return Answer(Ask(story_, event + story_.Render(post.body)));
  }

  int Get(const std::string& url, int timeout,
          const std::function<void(std::string_view)>& sink) override {
    const auto reply =
        Answer(Ask(story_, "fetch (" + std::to_string(timeout) + " s) " + story_.Render(url)));
    if (reply.status == 200) sink(reply.body);
    return reply.status;
  }

 private:
  trel_seam::HttpReply Answer(const std::vector<std::string>& answers) const {
    if (story_.Diverged()) throw trel_seam::HttpFailure("not in the script");
    trel_seam::HttpReply reply{200, ""};
    for (auto answer : answers) {
      if (TakePrefix(answer, "status ")) {
        reply.status = std::stoi(answer);
      } else if (TakePrefix(answer, "fails ")) {
        throw trel_seam::HttpFailure(answer);
      } else {
        reply.body += answer;
      }
    }
    if (reply.body.empty()) reply.body = "<doc/>";
    return reply;
  }

  const World& world_;
  Story& story_;
};

class ScriptedConnection : public trel_seam::SshConnection {
 public:
  ScriptedConnection(Story& story, const std::string& host) : story_(story), host_(host) {}
  ~ScriptedConnection() override { story_.Tell("ssh " + host_ + " closed"); }

  void Start(const std::string& command) override { command_ = command; }

  trel_seam::SshOutcome Finish(const std::string& input, bool closed) override {
    std::string event = "ssh " + host_ + " $ " + story_.Render(command_);
    if (!input.empty() || closed) event += "\n  stdin: " + story_.Render(input);
    if (!input.empty() && !closed) event += " (left open)";
    const auto answer = AskCommand(story_, event);
    if (story_.Diverged()) throw Lost("not in the script");
    if (!answer.lost.empty()) throw Lost(answer.lost);
    return {answer.output, answer.status};
  }

 private:
  static trel_seam::SshFailure Lost(const std::string& why) {
    return {trel_seam::SshStep::kLost, why};
  }

  Story& story_;
  std::string host_;
  std::string command_;
};

class ScriptedSsh : public trel_seam::Ssh {
 public:
  explicit ScriptedSsh(Story& story) : story_(story) {}

  std::unique_ptr<trel_seam::SshConnection> Connect(const trel_seam::SshTarget& target) override {
    const std::string secret = target.by_key
                                   ? "key '" + target.key + "'" + Passphrase(target.passphrase)
                                   : "password '" + target.password + "'";
    const auto answers = Ask(story_, "ssh " + target.login + "@" + target.host + ":" +
                                         std::to_string(target.port) + " with " + secret);
    for (auto answer : answers) {
      if (TakePrefix(answer, "refused ")) {
        throw trel_seam::SshFailure(trel_seam::SshStep::kAuth, answer);
      }
    }
    if (story_.Diverged()) {
      throw trel_seam::SshFailure(trel_seam::SshStep::kConnect, "not in the script");
    }
    return std::make_unique<ScriptedConnection>(story_, target.host);
  }

 private:
  static std::string Passphrase(const std::string& text) {
    return text.empty() ? "" : " and passphrase '" + text + "'";
  }

  Story& story_;
};

class ScriptedProcesses : public trel_seam::Processes {
 public:
  explicit ScriptedProcesses(Story& story) : story_(story) {}

  trel_seam::ProcessOutcome Run(const trel_seam::ProcessRequest& request) override {
    const auto answer = AskCommand(story_, Describe(request));
    return {answer.output, answer.status};
  }

 private:
  std::string Describe(const trel_seam::ProcessRequest& request) const {
    std::string event = "child";
    if (!request.user.empty()) event += " of " + request.user;
    if (request.dir != "/") event += " in " + story_.Render(request.dir);
    for (const auto& [name, value] : request.env) event += " " + name + "=" + story_.Render(value);
    if (!request.capture_output) event += " (output dropped)";
    if (!request.capture_errors) event += " (errors dropped)";
    if (!request.own_group) event += " (in our group)";
    if (request.arguments[0] == "/bin/sh") {
      return event + " $ " + story_.Render(request.arguments[2]);
    }
    for (const auto& argument : request.arguments) event += "\n  " + story_.Render(argument);
    return event;
  }

  Story& story_;
};

class ScriptedHost : public trel_seam::Host {
 public:
  explicit ScriptedHost(const World& world) : world_(world), random_(world.random) {}

  /// 2026-11-20 18:02:01 UTC at the first look, and then later by a tick each time.
  std::int64_t Now() override { return 1'795'197'721'000'000 + world_.tick * looks_++; }

  std::string Random(std::size_t count) override {
    while (random_.size() < count) random_ += next_++;
    const std::string bytes = random_.substr(0, count);
    random_.erase(0, count);
    return bytes;
  }

  std::optional<std::string> HomeOf(const std::string& name) override {
    const auto home = world_.homes.find(name);
    if (home == world_.homes.end()) return std::nullopt;
    return home->second;
  }

  std::string OsRelease() override { return world_.os_release; }

 private:
  const World& world_;
  std::string random_;
  char next_ = 1;
  int looks_ = 0;
};

class ScriptedLog : public trel_seam::LogSink {
 public:
  ScriptedLog(const World& world, Story& story) : world_(world), story_(story) {}

  void Write(int level, std::string_view module, std::string_view message) noexcept override {
    if (level > world_.log_level) return;
    const std::string from = module == "tarvin" ? "" : "(" + std::string(module) + ") ";
    story_.Tell("log " + std::to_string(level) + " " + from + story_.Render(std::string(message)));
  }

 private:
  const World& world_;
  Story& story_;
};

}  // namespace

World::World(const Script& script, const Story& story) {
  if (script.run.rfind("vormain", 0) == 0) language = "en";
  for (const auto& given : script.given) {
    std::string rest = story.Expand(given);
    const std::string kind = str::GetWord(rest, ' ');
    if (kind == "os-release") {
      os_release = ReplaceAll(rest, "\\n", "\n");
    } else if (kind == "random") {
      random = FromHex(rest);
    } else if (kind == "enabled") {
      enabled_level = std::stoi(rest);
    } else if (kind == "log") {
      log_level = std::stoi(rest);
    } else if (kind == "tick") {
      tick = std::stoi(rest);
    } else if (kind == "dir") {
      std::filesystem::create_directories(rest);
    } else if (kind == "program") {
      WriteFile(rest, "");
      std::filesystem::permissions(rest, std::filesystem::perms::owner_all);
    } else {
      if (rest.size() > 2 && rest.substr(rest.size() - 2) == " =") rest += ' ';
      const std::string key = str::GetWord(rest, " = ");
      if (kind == "file") {
        WriteFile(key, rest);
      } else if (kind == "link") {
        std::filesystem::create_symlink(rest, key);
      } else if (kind == "param") {
        params[key] = rest;
      } else if (kind == "set") {
        set[key] = rest;
      } else if (kind == "home") {
        homes[key] = rest;
      } else {
        throw std::runtime_error("cannot give '" + kind + "'");
      }
    }
  }
}

trel_seam::Seam MakeScripted(const World& world, Story& story) {
  return {std::make_shared<ScriptedHttp>(world, story), std::make_shared<ScriptedSsh>(story),
          std::make_shared<ScriptedProcesses>(story), std::make_shared<ScriptedHost>(world),
          std::make_shared<ScriptedLog>(world, story)};
}

}  // namespace transcript
