#include <algorithm>
#include <array>

#include "panel/error.h"
#include "panel/functions/functions.h"

namespace panel::functions {
namespace {

constexpr std::array<std::string_view, 3> kLevels = {"error", "warning", "info"};
constexpr std::string_view kParamPrefix = "param_";

std::string Level(const Form& form) {
  std::string level = form.Require("level");
  if (std::find(kLevels.begin(), kLevels.end(), level) == kLevels.end()) {
    throw BadValue("level", level, "error, warning or info");
  }
  return level;
}

Fields Params(const Form& form) {
  Fields params;
  for (const auto& [name, value] : form.fields()) {
    if (name.starts_with(kParamPrefix)) {
      params.emplace(name.substr(kParamPrefix.size()), value);
    }
  }
  return params;
}

}  // namespace

void ProblemsRegister(const Context& context, Reply& reply) {
  const Form& form = context.form;
  if (!form.Submitted()) {
    throw BadValue("sok", form.Get("sok"), "a problem is registered with sok=ok");
  }
  context.state.problems.Add({.id = form.Require("id"),
                              .time = "",
                              .level = Level(form),
                              .name = form.Require("name"),
                              .object = form.Require("msg_object"),
                              .info = form.Get("info"),
                              .params = Params(form)});
  reply.AddOk();
}

}  // namespace panel::functions
