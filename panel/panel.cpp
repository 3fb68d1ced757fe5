#include "panel/panel.h"

#include <algorithm>
#include <iostream>

#include "panel/error.h"
#include "panel/functions/databases.h"
#include "panel/text.h"

namespace panel {
namespace {

const Function* Find(const Role& role, const std::string& name) {
  const auto functions = Functions();
  const auto found = std::find_if(
      functions.begin(), functions.end(),
      [&](const Function& function) { return function.name == name && function.In(role); });
  return found == functions.end() ? nullptr : &*found;
}

std::string Caller(const Session& session) {
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
  const std::string caller = function->access == Access::kAnyone ? "-" : Caller(session);
  try {
    Reply reply = Call(*function, form, session);
    Log(name, caller, "ok");
    return reply;
  } catch (const Error& error) {
    Log(name, caller, error.type());
    throw;
  }
}

std::unique_ptr<Download> Panel::Get(std::string_view target) {
  const std::optional<DumpQuery> query = DumpQuery::Parse(role_, target);
  if (!query) {
    return nullptr;
  }
  const Session session = ActAs(query->form, Authenticate(query->form));
  const std::string caller = Caller(session);
  try {
    return OpenDump(*query, session, caller);
  } catch (const Error& error) {
    Log(query->function, caller, error.type());
    throw;
  }
}

std::unique_ptr<Download> Panel::OpenDump(const DumpQuery& query, const Session& session,
                                          const std::string& caller) {
  const HostedName id = query.Choose(state_.hosted.Databases(session.user)).id;
  const Context context{role_, state_, session, query.form, endpoints_};
  return std::make_unique<Download>(
      functions::OpenServer(context, id.server)->Dump(id.name),
      [this, caller, id, function = query.function](const Error* error) {
        Log(function, caller, error == nullptr ? "ok" : error->type());
        if (error != nullptr) {
          // The receiver sees no more than a connection that is cut.
          std::cerr << "refpanel: dump of " + OneLine(id.Key()) + ": " + error->what() + "\n";
        }
      });
}

void Panel::Log(const std::string& function, const std::string& caller, const std::string& result) {
  state_.calls.Add({role_.side == Side::kLocal ? "local" : "source", function, caller, result});
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
