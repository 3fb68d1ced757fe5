#include "panel/dbserver/names.h"

#include <utf8.h>

#include <algorithm>
#include <array>

#include "panel/error.h"
#include "panel/text.h"
#include "trel/str.h"

namespace panel::dbserver {
namespace {

constexpr const char* kBlanks = " \t\n\r,";
constexpr const char* kWordCharacters =
    "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789_.-";
constexpr const char* kHostCharacters =
    "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789_.-:%/";
constexpr std::size_t kMaxHost = 255;
constexpr std::size_t kMaxHosts = 256;
constexpr std::size_t kShown = 100;

constexpr std::array<std::string_view, 7> kOfMariadb = {
    "mysql", "information_schema", "performance_schema", "sys",
    "root",  "mariadb.sys",        "debian-sys-maint"};
constexpr std::array<std::string_view, 5> kOfPostgres = {"postgres", "template0", "template1",
                                                         "public", "none"};

// Characters on MariaDB, bytes on PostgreSQL. The technical user's name holds the database's.
std::size_t MaxLength(Type type, NameOf what) {
  if (type == Type::kMariadb) {
    return what == NameOf::kDatabase ? 64 : 80;
  }
  return what == NameOf::kDatabase ? 63 - kTechnicalPrefix.size() : 63;
}

std::size_t Length(Type type, const std::string& name) {
  return type == Type::kMariadb ? static_cast<std::size_t>(utf8::distance(name.begin(), name.end()))
                                : name.size();
}

bool IsOfServer(Type type, const std::string& name) {
  const std::string lower = str::Lower(name);
  const auto in = [&](const auto& names) {
    return std::find(names.begin(), names.end(), lower) != names.end();
  };
  return type == Type::kMariadb ? in(kOfMariadb) : in(kOfPostgres) || lower.starts_with("pg_");
}

bool HasForbiddenCharacter(const std::string& name) {
  return std::any_of(name.begin(), name.end(), [](unsigned char c) {
    return c < 0x20 || c == 0x7f || c == '/' || c == '\\';
  });
}

// What is wrong with `name`; nothing when it is empty.
std::string Complaint(Type type, NameOf what, const std::string& name) {
  if (name.empty()) {
    return "it is empty";
  }
  if (!IsXmlText(name) || HasForbiddenCharacter(name)) {
    return "UTF-8 without control characters, slashes and backslashes";
  }
  if (Length(type, name) > MaxLength(type, what)) {
    return "at most " + std::to_string(MaxLength(type, what)) +
           (type == Type::kMariadb ? " characters" : " bytes");
  }
  if (name.front() == '-' || name.front() == ' ' || name.back() == ' ' ||
      name.find("->") != std::string::npos) {
    return "no dash in front, no blanks around it, no '->' in it";
  }
  if (str::Lower(name).starts_with(kTechnicalPrefix) || IsOfServer(type, name)) {
    return "reserved for the panel or the server itself";
  }
  return {};
}

Error BadName(const std::string& field, const std::string& name, const std::string& complaint) {
  return BadValue(field, name.size() > kShown ? name.substr(0, kShown) + "..." : name, complaint);
}

}  // namespace

void CheckName(Type type, NameOf what, const std::string& field, const std::string& name) {
  const std::string complaint = Complaint(type, what, name);
  if (!complaint.empty()) {
    throw BadName(field, name, complaint);
  }
}

void CheckServerName(const std::string& field, const std::string& name) {
  if (name.empty() || name.front() == '-' || name.size() > kShown ||
      name.find_first_not_of(kWordCharacters) != std::string::npos) {
    throw BadName(field, name, "letters, digits and _.- without a dash in front");
  }
}

std::string TechnicalUser(const std::string& database) {
  return std::string(kTechnicalPrefix) + database;
}

Hosts ParseHosts(const std::string& field, const std::string& list) {
  Hosts hosts;
  for (std::size_t at = list.find_first_not_of(kBlanks); at != std::string::npos;) {
    const std::size_t end = std::min(list.find_first_of(kBlanks, at), list.size());
    const std::string host = list.substr(at, end - at);
    if (host.size() > kMaxHost || host.front() == '-' ||
        host.find_first_not_of(kHostCharacters) != std::string::npos) {
      throw BadName(field, host, "addresses, host names or patterns of these");
    }
    hosts.insert(host);
    at = list.find_first_not_of(kBlanks, end);
  }
  if (hosts.size() > kMaxHosts) {
    throw BadName(field, list, "at most " + std::to_string(kMaxHosts) + " hosts");
  }
  return hosts;
}

}  // namespace panel::dbserver
