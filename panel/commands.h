#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "panel/function.h"
#include "panel/listen_address.h"

/// What the program does for each of its sub-commands. All of them throw std::exception with a
/// message for people when they cannot.
namespace panel::commands {

struct ServeOptions {
  Role role;
  std::filesystem::path state;
  std::string socket;
  std::string account;
  std::vector<ListenAddress> listen;
  std::string cert;
  std::string key;
  bool plain = false;
  dbserver::Endpoints endpoints;
};

/// Serves until SIGTERM or SIGINT. Writes one line for each address when all of them are served.
void Serve(const ServeOptions& options);

/// Registers the system's account `name` as a user, and gives it a login shell or takes it away.
void AddUser(const std::filesystem::path& state, const std::string& name,
             std::optional<bool> shell);
/// Prints one line a user: name, whether active, whether with a shell.
void ListUsers(const std::filesystem::path& state);
/// Prints a new session key: of `user`, or of the administrator when that is empty.
void OpenSession(const std::filesystem::path& state, const std::string& user);
/// Prints one line a problem.
void ListProblems(const std::filesystem::path& state);
/// Prints one line a call: side, function, user, result.
void ListCalls(const std::filesystem::path& state);

struct CertificateOptions {
  std::string user;
  std::string name;
  std::string domain;
  std::vector<std::string> aliases;
  Certificate::Kind kind = Certificate::Kind::kIssued;
};
/// Gives the user a certificate; one from letsencrypt gets real keys and a real request.
void AddCertificate(const std::filesystem::path& state, const CertificateOptions& options);
/// Prints one line a certificate, with the SHA-256 of the key, the request and the modulus.
void ListCertificates(const std::filesystem::path& state);

/// Takes the rights of account `name` and repairs the web directories of its home (see
/// RepairWebTree). Prints the number of repairs; throws with all failures when there was any.
void RepairWebTreeOf(const std::string& name, const std::filesystem::path& remote_home,
                     bool overwrite);

}  // namespace panel::commands
