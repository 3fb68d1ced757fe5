#pragma once

#include <span>
#include <string_view>

#include "form.h"
#include "reply.h"
#include "sessions.h"
#include "state.h"

namespace panel {

enum class Side { kLocal, kSource };
enum class Generation { k4 = 4, k5 = 5 };

/// Which panel is played.
struct Role {
  Side side = Side::kLocal;
  Generation generation = Generation::k5;
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

/// A panel function: fills the answer, or throws Error.
struct Function {
  std::string_view name;
  Access access;
  void (*run)(const Context& context, Reply& reply);
};

/// All functions of the panel. A new one gets a file in functions/ and a line in this table.
std::span<const Function> Functions();

}  // namespace panel
