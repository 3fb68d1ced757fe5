#include "panel/account.h"
#include "panel/functions/functions.h"

namespace panel::functions {

void UserDisable(const Context& context, Reply& reply) {
  const User user = context.state.users.Require(context.form.Require("elid"));
  account::Suspend(user.name);
  context.state.users.SetDisabled(user.name, true);
  reply.AddOk();
}

}  // namespace panel::functions
