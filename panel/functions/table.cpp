#include <array>

#include "panel/functions/functions.h"

namespace panel {

std::span<const Function> Functions() {
  using enum Access;
  static constexpr std::array kFunctions = {
      Function{"auth", kAnyone, functions::Auth},
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
