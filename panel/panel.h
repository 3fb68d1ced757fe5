#pragma once

#include <string>
#include <string_view>
#include <utility>

#include "function.h"

namespace panel {

/// The panel behind the wire: one query in, one XML document out. Several threads may call at once.
class Panel {
 public:
  Panel(Role role, State& state, dbserver::Endpoints endpoints = {})
      : role_(role), state_(state), endpoints_(std::move(endpoints)) {}

  /// Answers a body of type application/x-www-form-urlencoded. Every Error is an answer too: a
  /// document with /doc/error.
  std::string Answer(std::string_view body);

 private:
  Reply Run(const Form& form);
  Reply Call(const Function& function, const Form& form, const Session& session);
  Session Authenticate(const Form& form);
  Session ActAs(const Form& form, const Session& session);

  Role role_;
  State& state_;
  dbserver::Endpoints endpoints_;
};

}  // namespace panel
