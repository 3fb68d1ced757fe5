#include "panel/functions/functions.h"

namespace panel::functions {
namespace {

const char* Text(bool on) {
  return on ? "on" : "off";
}

}  // namespace

void OptionList(const Context& context, Reply& reply) {
  for (const auto& [name, on] : context.state.options.All()) {
    pugi::xml_node elem = reply.AddElement("elem");
    Reply::Add(elem, "name", name);
    Reply::Add(elem, "value", Text(on));
  }
}

void OptionEdit(const Context& context, Reply& reply) {
  const std::string name = context.form.Require("elid");
  if (context.form.Submitted()) {
    context.form.Require("value");
    context.state.options.Set(name, context.form.Flag("value"));
    reply.Add("ok", "");
    return;
  }
  const bool on = context.state.options.Get(name);
  reply.Add("elid", name);
  reply.Add("name", name);
  reply.Add("value", Text(on));
}

}  // namespace panel::functions
