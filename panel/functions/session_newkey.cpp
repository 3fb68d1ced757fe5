#include "panel/error.h"
#include "panel/functions/functions.h"

namespace panel::functions {
namespace {

constexpr std::size_t kShortestKey = 16;

}  // namespace

void SessionNewkey(const Context& context, Reply& reply) {
  const User user = context.state.users.Require(context.form.Require("username"));
  const std::string key = context.form.Require("key");
  if (key.size() < kShortestKey) {
    throw BadValue("key", "", "at least " + std::to_string(kShortestKey) + " characters");
  }
  context.state.sessions.AddLoginKey(user.name, key);
  reply.AddOk();
}

}  // namespace panel::functions
