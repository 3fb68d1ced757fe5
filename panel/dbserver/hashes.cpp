#include "panel/dbserver/hashes.h"

#include <openssl/evp.h>

#include <algorithm>
#include <array>
#include <regex>

#include "panel/error.h"
#include "panel/text.h"
#include "trel/str.h"

namespace panel::dbserver {
namespace {

// Longer than any hash; std::regex recurses for each character.
constexpr std::size_t kMaxHash = 512;

bool Matches(const std::string& hash, const char* pattern) {
  return hash.size() <= kMaxHash && std::regex_match(hash, std::regex(pattern));
}

bool IsMariadbHash(const std::string& hash) {
  return Matches(hash, "\\*[0-9A-Fa-f]{40}");
}

// PostgreSQL takes what it does not know for a password in plain text, so nothing else may pass.
bool IsPostgresHash(const std::string& hash) {
  return Matches(hash, "md5[0-9a-f]{32}") || Matches(hash,
                                                     "SCRAM-SHA-256\\$[1-9][0-9]{0,6}:"
                                                     "(?=[A-Za-z0-9+/])(?:[A-Za-z0-9+/]{4})*"
                                                     "(?:[A-Za-z0-9+/]{2}==|[A-Za-z0-9+/]{3}=)?"
                                                     "\\$[A-Za-z0-9+/]{43}=:[A-Za-z0-9+/]{43}=");
}

std::string MariadbComplaint(const std::string& hash) {
  if (Matches(hash, "[0-9A-Fa-f]{16}")) {
    return "a hash from before MySQL 4.1 (mysql_old_password) lets nobody in any more";
  }
  if (hash.starts_with("$A$")) {
    return "MariaDB does not know hashes of caching_sha2_password";
  }
  return "not a hash of mysql_native_password (an asterisk and 40 hexadecimal digits)";
}

std::array<unsigned char, 20> Sha1(const void* data, std::size_t size) {
  std::array<unsigned char, 20> digest{};
  if (EVP_Digest(data, size, digest.data(), nullptr, EVP_sha1(), nullptr) != 1) {
    throw Error("system", "hash", "", "SHA-1 is not available");
  }
  return digest;
}

}  // namespace

bool IsHash(Type type, const std::string& hash) {
  return type == Type::kMariadb ? IsMariadbHash(hash) : IsPostgresHash(hash);
}

void CheckHash(Type type, const std::string& user, const std::string& hash) {
  if (IsHash(type, hash)) {
    return;
  }
  std::string complaint = "the password hash is empty";
  if (!hash.empty()) {
    complaint =
        type == Type::kMariadb ? MariadbComplaint(hash) : "not a hash of SCRAM-SHA-256 or MD5";
  }
  throw Error("value", "password", "", "database user '" + OneLine(user) + "': " + complaint);
}

std::string NativePasswordHash(const std::string& password) {
  const auto once = Sha1(password.data(), password.size());
  const auto twice = Sha1(once.data(), once.size());
  std::string hash = "*" + str::hex::Encode(std::string(twice.begin(), twice.end()));
  std::transform(hash.begin(), hash.end(), hash.begin(),
                 [](unsigned char c) { return static_cast<char>(std::toupper(c)); });
  return hash;
}

}  // namespace panel::dbserver
