#include <map>
#include <mutex>
#include <set>

#include "panel/dbserver/names.h"
#include "panel/error.h"
#include "panel/functions/database_changes.h"
#include "panel/functions/functions.h"
#include "panel/home_file.h"
#include "trel/str.h"

namespace panel::functions {
namespace {

// A database that is being restored, which one can do at a time.
class Restoring {
 public:
  explicit Restoring(const HostedName& id) : key_(id.Key()) {
    const std::lock_guard lock(mutex_);
    if (!keys_.insert(key_).second) {
      throw Error("exists", kDatabase, key_, "database '" + key_ + "' is being restored already");
    }
  }
  Restoring(const Restoring&) = delete;
  Restoring& operator=(const Restoring&) = delete;
  ~Restoring() {
    const std::lock_guard lock(mutex_);
    keys_.erase(key_);
  }

 private:
  static inline std::mutex mutex_;
  static inline std::set<std::string> keys_;

  std::string key_;
};

// Fills an empty database; an error tells which one was meant.
void Fill(const Target& target, const std::string& database, const Descriptor& dump,
          const account::Account& account) {
  try {
    target.server->Restore(database, dump.get(), account);
  } catch (const Error& error) {
    throw Error(error.type(), kDatabase, target.id.Key(),
                "database '" + target.id.Key() + "': " + error.what());
  }
}

// Shows in a database of its own that the dump can be restored, before the old contents go.
void Try(const Target& target, const Descriptor& dump, const account::Account& account) {
  const std::string trial =
      std::string(dbserver::kTechnicalPrefix) + "trial_" + str::hex::Encode(str::Random(8));
  Undo drop;
  drop.Add([&] { target.server->DropDatabase(trial); });
  target.server->CreateDatabase(trial);
  Fill(target, trial, dump, account);
}

using Held = std::map<std::string, dbserver::Privileges>;

Held ReadHeld(const Context& context, const Target& target) {
  Held held;
  for (const std::string& user : context.state.hosted.UsersOf(target.id)) {
    held[user] = target.server->ReadUser(target.id.name, user).privileges;
  }
  return held;
}

// Drops the contents. What users may do there stays.
void Empty(const Target& target, const Held& held) {
  target.server->DropDatabase(target.id.name);
  target.server->CreateDatabase(target.id.name);
  for (const auto& [user, privileges] : held) {
    target.server->SetPrivileges(target.id.name, user, privileges);
  }
}

void Replace(const Context& context, const Target& target, const Descriptor& dump,
             const account::Account& account) {
  if (!target.server->IsEmpty(target.id.name)) {
    Try(target, dump, account);
  }
  const Held held = ReadHeld(context, target);
  Undo empty_again;
  empty_again.Add([&] { Empty(target, held); });
  Empty(target, held);
  Fill(target, target.id.name, dump, account);
  for (const auto& [user, privileges] : held) {
    target.server->SetPrivileges(target.id.name, user, privileges);
  }
  empty_again.Clear();
}

}  // namespace

void DbRestore(const Context& context, Reply& reply) {
  const Form& form = context.form;
  RequireSubmitted(form);
  if (form.Require("type") != "db") {
    throw BadValue("type", form.Get("type"), "db");
  }
  const Target target = ReadTarget(context);
  const account::Account account = account::Require(context.session.user);
  const Descriptor dump = OpenHomeFile(account, form.Require("path"));
  const Restoring restoring(target.id);
  if (target.exists) {
    Replace(context, target, dump, account);
  } else {
    Undo undo;
    MakeDatabase(context, target, undo);
    Fill(target, target.id.name, dump, account);
    undo.Clear();
  }
  reply.Add("ok", "");
}

}  // namespace panel::functions
