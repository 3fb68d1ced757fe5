#include "panel.h"

#include <algorithm>

#include "error.h"

namespace panel {
namespace {

const Function* Find(const Role& role, const std::string& name) {
  const auto functions = Functions();
  const auto found = std::find_if(
      functions.begin(), functions.end(),
      [&](const Function& function) { return function.name == name && function.In(role); });
  return found == functions.end() ? nullptr : &*found;
}

std::string Caller(const Function& function, const Session& session) {
  if (function.access == Access::kAnyone) {
    return "-";
  }
  return session.administrator() ? "administrator" : session.user;
}

}  // namespace

std::string Panel::Answer(std::string_view body) {
  try {
    return Run(Form::Parse(body)).Str();
  } catch (const Error& error) {
    return ErrorReply(error).Str();
  }
}

Reply Panel::Run(const Form& form) {
  const std::string name = form.Require("func");
  const Function* function = Find(role_, name);
  Session session;
  // Who has no session does not learn which functions there are.
  if (function == nullptr || function->access != Access::kAnyone) {
    session = ActAs(form, Authenticate(form));
  }
  if (function == nullptr) {
    throw Missing("function", name);
  }
  const auto log = [&](const std::string& result) {
    state_.calls.Add({role_.side == Side::kLocal ? "local" : "source", name,
                      Caller(*function, session), result});
  };
  try {
    Reply reply = Call(*function, form, session);
    log("ok");
    return reply;
  } catch (const Error& error) {
    log(error.type());
    throw;
  }
}

Reply Panel::Call(const Function& function, const Form& form, const Session& session) {
  if (!function.OpenTo(session)) {
    throw Denied(std::string(function.name));
  }
  Reply reply;
  function.run({role_, state_, session, form, endpoints_}, reply);
  return reply;
}

Session Panel::Authenticate(const Form& form) {
  if (form.Get("auth").empty()) {
    // Only the administrator can reach the local panel's socket.
    if (role_.side == Side::kLocal) {
      return {};
    }
    throw Error("auth", "auth", "", "no session key given");
  }
  const std::optional<Session> session = state_.sessions.Find(form.Get("auth"));
  if (!session) {
    throw Error("auth", "auth", "", "unknown session key");
  }
  return *session;
}

Session Panel::ActAs(const Form& form, const Session& session) {
  if (!form.Has("su")) {
    return session;
  }
  if (!session.administrator()) {
    throw Denied(form.Get("func"));
  }
  return {state_.users.Require(form.Get("su")).name};
}

}  // namespace panel
