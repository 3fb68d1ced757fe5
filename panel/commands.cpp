#include "panel/commands.h"

#include <iostream>
#include <stdexcept>

#include "panel/account.h"
#include "panel/error.h"
#include "panel/text.h"
#include "panel/web_tree.h"
#include "trel/str.h"

namespace panel::commands {
namespace {

constexpr uid_t kFirstUserId = 1000;  // below: accounts of the system itself

std::string Quoted(const std::string& text) {
  return '"' + OneLine(text) + '"';
}

}  // namespace

void AddUser(const std::filesystem::path& state, const std::string& name,
             std::optional<bool> shell) {
  if (!account::ValidName(name)) {
    throw BadValue("NAME", name, "letters, digits and _.- after a letter, digit or _, at most 32");
  }
  const account::Account account = account::Require(name);
  if (account.uid < kFirstUserId) {
    throw std::runtime_error("account '" + name + "' belongs to the system");
  }
  State opened(state, Database::Open::kCreate);
  Transaction transaction(opened.database);
  opened.users.Add(name);
  if (shell && *shell != account.ShellOn()) {
    account::SetShell(name, *shell);
  }
  transaction.Commit();
}

void ListUsers(const std::filesystem::path& state) {
  for (const User& user : State(state, Database::Open::kExisting).users.All()) {
    const auto account = account::Find(user.name);
    const char* shell = !account ? "no-account" : account->ShellOn() ? "shell=on" : "shell=off";
    std::cout << user.name << (user.disabled ? " disabled " : " active ") << shell << "\n";
  }
}

void OpenSession(const std::filesystem::path& state, const std::string& user) {
  State opened(state, Database::Open::kCreate);
  if (!user.empty()) {
    opened.users.Require(user);
  }
  std::cout << opened.sessions.Open({user}) << "\n";
}

void ListProblems(const std::filesystem::path& state) {
  for (const Problem& problem : State(state, Database::Open::kExisting).problems.All()) {
    std::cout << problem.time << " " << problem.level << " id=" << Quoted(problem.id)
              << " name=" << Quoted(problem.name) << " object=" << Quoted(problem.object);
    for (const auto& [name, value] : problem.params) {
      std::cout << " param_" << OneLine(name) << "=" << Quoted(value);
    }
    std::cout << " info=" << Quoted(problem.info) << "\n";
  }
}

void ListCalls(const std::filesystem::path& state) {
  for (const Call& call : State(state, Database::Open::kExisting).calls.All()) {
    std::cout << call.side << " " << call.function << " " << call.user << " " << call.result
              << "\n";
  }
}

void RepairWebTreeOf(const std::string& name, const std::filesystem::path& remote_home,
                     bool overwrite) {
  const account::Account account = account::Require(name);
  account::Become(account);
  const std::filesystem::path home = account.home;
  const WebTreeRepair repair = RepairWebTree(home / "www", {remote_home, home, overwrite});
  if (!repair.failures.empty()) {
    throw std::runtime_error(std::to_string(repair.repaired) + " repaired, " +
                             std::to_string(repair.failures.size()) +
                             " failed: " + str::Join(repair.failures, "; "));
  }
  std::cout << repair.repaired << "\n";
}

}  // namespace panel::commands
