#include "faults/world.h"

#include <fstream>

namespace faults {
namespace {

/// Of "S3-ssh-password".
constexpr char kPasswordInBase64[] = "UzMtc3NoLXBhc3N3b3Jk";

}  // namespace

const std::vector<Scenario>& Scenarios() {
  static const std::vector<Scenario> scenarios{{"vortrel4", false},     {"vortrel4", true},
                                               {"vortrel5lite", false}, {"vortrel5lite", true},
                                               {"vortrel5pro", false},  {"vortrel5pro", true}};
  return scenarios;
}

const std::vector<std::string>& Secrets() {
  static const std::vector<std::string> secrets{
      "S3-admin-key", "S3-user-key", "S3-ssh-password", kPasswordInBase64, "S3-master",
      "S3-temporary", "S3-hash",     "S3-row",          "S3-acme",         "S3-victim"};
  return secrets;
}

const std::vector<SourceDatabase>& SourceDatabases() {
  static const std::vector<SourceDatabase> databases{{"shop", "mysql", {"anna", "bert"}},
                                                     {"alien", "mysql", {"eve"}},
                                                     {"kept", "mysql", {"dora"}},
                                                     {"blog", "pgsql", {"carl"}}};
  return databases;
}

std::string DumpOf(const std::string& database) {
  return "-- dump of " + database + "\nINSERT 'S3-row of " + database + "';\n-- end\n";
}

std::string HashOf(const std::string& database_user) {
  return "*S3-hash-" + database_user;
}

State StateBefore(const Scenario& scenario) {
  State state;
  state.shell_on = scenario.second;
  if (!scenario.second) state.authorized_keys = kOldKeys;
  state.databases = {{"alien", {kForeigner, "of mallory", {"eve"}}},
                     {"kept", {kUser, "of before", {"dora"}}},
                     {"other", {kForeigner, "of mallory too", {"anna"}}}};
  return state;
}

StringMap ParamsOf(const Scenario& scenario, const std::string& dir) {
  StringMap params{{"remote_type", scenario.remote_type},
                   {"username", kUser},
                   {"url", "https://src.example:1500/panel"},
                   {"servername", "src.example"},
                   {"root_auth", "S3-admin-key"},
                   {"lang", "en"},
                   {"login", "root"},
                   {"ssh_port", "2222"},
                   {"userhomedir", dir + "/home"},
                   {"remotehomedir", "/home/user1"},
                   {"import_files", "on"},
                   {"import_databases", "on"},
                   {"mysql_server", "mysql"},
                   {"pgsql_server", "pgsql"}};
  if (scenario.second) {
    params["auth_type"] = "bykey";
    params["masterkey"] = dir + "/master_key";
    params["overwrite"] = "on";
    params["user_disabled"] = "on";
  } else {
    params["password"] = kPasswordInBase64;
  }
  return params;
}

namespace {

std::string Decode(const std::string& text) {
  std::string decoded;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] == '%' && i + 2 < text.size()) {
      decoded += static_cast<char>(std::stoi(text.substr(i + 1, 2), nullptr, 16));
      i += 2;
    } else {
      decoded += text[i];
    }
  }
  return decoded;
}

}  // namespace

StringMap ParseQuery(const std::string& query) {
  StringMap fields;
  for (std::string rest = query; !rest.empty();) {
    std::string field = str::GetWord(rest, "&");
    const std::string key = str::GetWord(field, "=");
    fields[key] = Decode(field);
  }
  return fields;
}

Ending MakeKeys(const std::string& path) {
  std::ofstream(path) << "-----BEGIN S3-temporary-----\n";
  std::ofstream(path + ".pub") << kNewKey;
  return {};
}

void CopyFiles(World& world, int status) {
  if (status != 0 && status != 23 && status != 24) return;
  std::ofstream(world.dir + "/home/index.html") << "<h1>user1</h1>\n";
  world.state.files_copied = true;
}

}  // namespace faults
