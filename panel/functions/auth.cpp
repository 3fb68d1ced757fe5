#include "panel/error.h"
#include "panel/functions/functions.h"

namespace panel::functions {

void Auth(const Context& context, Reply& reply) {
  const std::string user = context.form.Require("username");
  const std::string key = context.form.Require("key");
  Transaction transaction(context.state.database);
  if (!context.state.sessions.UseLoginKey(user, key)) {
    throw Error("auth", "key", "", "wrong user name or login key");
  }
  reply.Add("auth", context.state.sessions.Open({user}));
  transaction.Commit();
}

}  // namespace panel::functions
