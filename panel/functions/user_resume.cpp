#include "panel/account.h"
#include "panel/functions/functions.h"

namespace panel::functions {

void UserResume(const Context& context, Reply& reply) {
  const User user = context.state.users.Require(context.form.Require("elid"));
  account::Resume(user.name);
  context.state.users.SetDisabled(user.name, false);
  reply.AddOk();
}

}  // namespace panel::functions
