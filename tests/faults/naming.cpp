#include "faults/naming.h"

#include <algorithm>

#include "faults/world.h"

namespace faults {
namespace {

std::string Get(const StringMap& query, const std::string& field) {
  const auto value = query.find(field);
  return value == query.end() ? "" : value->second;
}

std::string NameIn(const std::string& pair) {
  return pair.substr(0, pair.find("->"));
}

bool Has(const std::string& text, const std::string& part) {
  return text.find(part) != std::string::npos;
}

/// The user's form is read and sent at both ends of a job.
std::string KeyOfUserEdit(const StringMap& query, const std::vector<Call>& before) {
  if (query.count("sok") > 0) {
    const bool on = Get(query, "shell") == "on" || Get(query, "limit_shell") == "on";
    return on ? "user.edit, shell on" : "user.edit, shell off";
  }
  const bool again =
      std::any_of(before.begin(), before.end(), [](const auto& c) { return c.key == "user.edit"; });
  return again ? "user.edit, again" : "user.edit";
}

std::string ObjectOf(const std::string& function, const StringMap& query) {
  if (function == "problems.register") {
    std::string about = Get(query, "param_value");
    const std::string user = Get(query, "param_dbusername");
    if (!user.empty()) about += "/" + user;
    return Get(query, "msg_object") + (about.empty() ? "" : " " + about);
  }
  if (function == "db.users") return NameIn(Get(query, "elid"));
  if (function == "db.users.edit") {
    std::string user = Get(query, "elid");
    if (user.empty()) user = Get(query, "name");
    if (user == "*") user = Get(query, "username");
    return NameIn(Get(query, "plid")) + "/" + user;
  }
  if (function == "db.edit" || function == "db.restore") return Get(query, "name");
  return Get(query, "cert_name");
}

}  // namespace

Call NameQuery(Channel channel, const StringMap& query, const std::vector<Call>& before) {
  const std::string function = Get(query, "func");
  const std::string key = function == "user.edit" ? KeyOfUserEdit(query, before) : function;
  return {channel, key, ObjectOf(function, query)};
}

Call NameDump(const std::string& url) {
  return {Channel::kDump, "fetch", NameIn(Get(ParseQuery(url.substr(url.find('?') + 1)), "elid"))};
}

Call NameCommand(Channel channel, const std::string& command) {
  static const std::pair<const char*, const char*> kKnown[] = {
      {"-type d -print0", "find directories"},
      {"-type f -print0", "find files"},
      {"test -e", "test -e"},
      {"'cat ~/.ssh/authorized_keys'", "read authorized_keys"},
      {"echo ~", "echo ~user"},
      {"mkdir -p", "mkdir .ssh"},
      {"chown -R root", "chown .ssh to root"},
      {"cat >> ", "append key"},
      {"chown -R user1", "chown .ssh to user"},
      {"chmod -f 0600", "chmod authorized_keys"},
      {"'cat > ~/.ssh/authorized_keys'", "put back authorized_keys"},
      {"'rm -f ~/.ssh/authorized_keys'", "put back authorized_keys"},
  };
  for (const auto& [part, key] : kKnown) {
    if (Has(command, part)) return {channel, key, ""};
  }
  return {channel, command, ""};
}

Call NameChild(const trel_seam::ProcessRequest& request) {
  const bool shell = request.arguments.front() == "/bin/sh";
  std::string command = shell ? request.arguments.at(2) : request.arguments.front();
  return {Channel::kChild, str::GetWord(command, " "), ""};
}

std::optional<Call> NameFile(const std::string& operation, const std::string& path,
                             const std::vector<FileCall>& before) {
  const std::string name = path.substr(path.rfind('/') + 1);
  const auto begins = [&](const std::string& text) { return name.rfind(text, 0) == 0; };
  Call call{Channel::kFile, "", ""};
  constexpr char kDump[] = "tarvin_dump.";
  if (begins(kDump)) {
    call.key = operation + " dump";
    call.object = name.substr(sizeof kDump - 1);
    // Its name is cleared before it is made.
    const bool made = std::any_of(before.begin(), before.end(), [&](const auto& file) {
      return file.call.object == call.object && file.call.key == "create dump";
    });
    if (operation == "remove" && !made) call.key = "clear dump";
  } else if (begins(".fetch-")) {
    call.key = operation + " part";
    call.object = before.back().call.object;
  } else if (begins("tarvin_key")) {
    const bool is_public = name.size() > 4 && name.substr(name.size() - 4) == ".pub";
    call.key = operation + (is_public ? " public key" : " private key");
    const auto earlier = std::count_if(before.begin(), before.end(), [&](const auto& file) {
      return file.call.key.rfind(call.key, 0) == 0;
    });
    // Before the key is made, behind it, and at the end.
    if (operation == "look for" && earlier > 0) call.key += ", again";
    if (operation == "look for" && earlier > 1) call.key += " and again";
  } else if (name == "params") {
    call.key = operation + " parameters";
  } else if (name == "home" && operation == "look for") {
    call.key = "look for home";
  } else {
    return std::nullopt;
  }
  return call;
}

}  // namespace faults
