#include "panel/functions/functions.h"

namespace panel::functions {

void DbconfList(const Context& context, Reply& reply) {
  for (const HostedServer& server : context.state.hosted.Servers()) {
    pugi::xml_node elem = reply.AddElement("elem");
    Reply::Add(elem, "name", server.name);
    Reply::Add(elem, "type", dbserver::TypeName(server.type));
    Reply::Add(elem, "host", server.host);
  }
}

}  // namespace panel::functions
