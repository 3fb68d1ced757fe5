#include "panel/functions/functions.h"

namespace panel::functions {

void Actionlist(const Context& context, Reply& reply) {
  for (const Function& function : Functions()) {
    if (!function.In(context.role) || !function.OpenTo(context.session)) {
      continue;
    }
    pugi::xml_node elem = reply.AddElement("elem");
    Reply::Add(elem, "name", function.name);
    Reply::Add(elem, "action", function.name);
  }
}

}  // namespace panel::functions
