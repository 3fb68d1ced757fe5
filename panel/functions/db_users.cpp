#include "panel/functions/databases.h"
#include "panel/functions/functions.h"

namespace panel::functions {

void DbUsersList(const Context& context, Reply& reply) {
  const Hosted database = RequireDatabase(context, "elid");
  for (const std::string& user : context.state.hosted.UsersOf(database.id)) {
    Reply::Add(reply.AddElement("elem"), "name", user);
  }
}

}  // namespace panel::functions
