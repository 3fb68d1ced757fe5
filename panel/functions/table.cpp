#include <array>

#include "panel/functions/functions.h"

namespace panel {

bool Function::In(const Role& role) const {
  switch (part) {
    case Part::kGeneration4:
      return role.generation == Generation::k4;
    case Part::kLetsencrypt:
      return role.letsencrypt;
    case Part::kPanel:
      break;
  }
  return true;
}

std::span<const Function> Functions() {
  using enum Access;
  using enum Part;
  static constexpr std::array kFunctions = {
      Function{"actionlist", kUser, functions::Actionlist},
      Function{"auth", kAnyone, functions::Auth},
      Function{"db", kUser, functions::DbList},
      Function{"db.edit", kUser, functions::DbEdit},
      Function{"db.restore", kUser, functions::DbRestore},
      Function{"db.server", kAdministrator, functions::DbServerList},
      Function{"db.users", kUser, functions::DbUsersList},
      Function{"db.users.edit", kUser, functions::DbUsersEdit},
      Function{"dbconf", kUser, functions::DbconfList, kGeneration4},
      Function{"dbconf.edit", kUser, functions::DbconfEdit, kGeneration4},
      Function{"letsencrypt.backup.get", kUser, functions::LetsencryptBackupGet, kLetsencrypt},
      Function{"letsencrypt.backup.set", kUser, functions::LetsencryptBackupSet, kLetsencrypt},
      Function{"letsencrypt.periodic", kAdministrator, functions::LetsencryptPeriodic,
               kLetsencrypt},
      Function{"optionlist", kAdministrator, functions::OptionList},
      Function{"optionlist.edit", kAdministrator, functions::OptionEdit},
      Function{"problems", kAdministrator, functions::ProblemsList},
      Function{"problems.register", kAdministrator, functions::ProblemsRegister},
      Function{"session.newkey", kAdministrator, functions::SessionNewkey},
      Function{"sslcert", kUser, functions::Sslcert},
      Function{"user.disable", kAdministrator, functions::UserDisable},
      Function{"user.edit", kUser, functions::UserEdit},
      Function{"user.resume", kAdministrator, functions::UserResume},
      Function{"webdomain.diraccess.repair", kAdministrator, functions::WebdomainDiraccessRepair},
  };
  return kFunctions;
}

}  // namespace panel
