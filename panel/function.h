#pragma once

#include <span>
#include <string_view>

#include "panel/form.h"
#include "panel/reply.h"
#include "panel/sessions.h"
#include "panel/state.h"

namespace panel {

enum class Side { kLocal, kSource };
enum class Generation { k4 = 4, k5 = 5 };

/// Which panel is played.
struct Role {
  Side side = Side::kLocal;
  Generation generation = Generation::k5;
  bool letsencrypt = true;  ///< has the letsencrypt plugin
};

/// What a function is called with.
struct Context {
  const Role& role;
  State& state;
  const Session& session;
  const Form& form;
  const dbserver::Endpoints& endpoints;
};

/// Who may call a function.
enum class Access {
  kAnyone,         ///< also without a session
  kUser,           ///< any session; the function itself looks at whose element it is
  kAdministrator,  ///< the administrator's session, not acting for a user
};

/// Which panels have a function.
enum class Part {
  kPanel,  ///< every one
  kGeneration4,
  kLetsencrypt,  ///< those with the plugin
};

/// A panel function: fills the answer, or throws Error.
struct Function {
  std::string_view name;
  Access access;
  void (*run)(const Context& context, Reply& reply);
  Part part = Part::kPanel;

  /// True when a panel of that role has it.
  bool In(const Role& role) const;
  /// True when `session` may call it. Which elements it may have is for the function to say.
  bool OpenTo(const Session& session) const {
    return access != Access::kAdministrator || session.administrator();
  }
};

/// All functions of all panels. A new one gets a file in functions/ and a line in this table.
std::span<const Function> Functions();

}  // namespace panel
