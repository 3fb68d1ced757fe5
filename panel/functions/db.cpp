#include "panel/functions/functions.h"

namespace panel::functions {

void DbList(const Context& context, Reply& reply) {
  const bool old = context.role.side == Side::kSource && context.role.generation == Generation::k4;
  for (const Hosted& database : context.state.hosted.Databases(context.session.user)) {
    pugi::xml_node elem = reply.AddElement("elem");
    Reply::Add(elem, "name", database.id.name);
    Reply::Add(elem, old ? "dbkey" : "pair", database.id.Key());
    Reply::Add(elem, old ? "dbtype" : "server", database.id.server);
    Reply::Add(elem, "owner", database.owner);
  }
}

}  // namespace panel::functions
