#include <array>

#include "functions/functions.h"

namespace panel {

std::span<const Function> Functions() {
  using enum Access;
  static constexpr std::array kFunctions = {
      Function{"auth", kAnyone, functions::Auth},
      Function{"db", kUser, functions::DbList},
      Function{"db.edit", kUser, functions::DbEdit},
      Function{"db.restore", kUser, functions::DbRestore},
      Function{"db.server", kAdministrator, functions::DbServerList},
      Function{"db.users", kUser, functions::DbUsersList},
      Function{"db.users.edit", kUser, functions::DbUsersEdit},
      Function{"optionlist", kAdministrator, functions::OptionList},
      Function{"optionlist.edit", kAdministrator, functions::OptionEdit},
      Function{"problems", kAdministrator, functions::ProblemsList},
      Function{"problems.register", kAdministrator, functions::ProblemsRegister},
      Function{"session.newkey", kAdministrator, functions::SessionNewkey},
      Function{"user.disable", kAdministrator, functions::UserDisable},
      Function{"user.edit", kUser, functions::UserEdit},
      Function{"user.resume", kAdministrator, functions::UserResume},
      Function{"webdomain.diraccess.repair", kAdministrator, functions::WebdomainDiraccessRepair},
  };
  return kFunctions;
}

}  // namespace panel
