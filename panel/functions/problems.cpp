#include "panel/functions/functions.h"

namespace panel::functions {

void ProblemsList(const Context& context, Reply& reply) {
  for (const Problem& problem : context.state.problems.All()) {
    pugi::xml_node elem = reply.AddElement("elem");
    Reply::Add(elem, "id", problem.id);
    Reply::Add(elem, "time", problem.time);
    Reply::Add(elem, "level", problem.level);
    Reply::Add(elem, "name", problem.name);
    Reply::Add(elem, "msg_object", problem.object);
    Reply::Add(elem, "info", problem.info);
    for (const auto& [name, value] : problem.params) {
      // Any text can be a parameter's name, so that it cannot be an element's.
      Reply::Mark(Reply::Add(elem, "param", value), "name", name);
    }
  }
}

}  // namespace panel::functions
