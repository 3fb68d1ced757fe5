#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <utility>

#include "panel/download.h"
#include "panel/dump_query.h"
#include "panel/function.h"

namespace panel {

/// The panel behind the wire: one query in, one XML document or one dump out. Several threads may
/// call at once.
class Panel {
 public:
  Panel(Role role, State& state, dbserver::Endpoints endpoints = {})
      : role_(role), state_(state), endpoints_(std::move(endpoints)) {}

  /// Answers a body of type application/x-www-form-urlencoded. Every Error is an answer too: a
  /// document with /doc/error.
  std::string Answer(std::string_view body);
  /// Opens what a GET of that path and query asks for; null when there is nothing to get. Throws
  /// Error. REQUIRES: the panel lives longer than the download.
  std::unique_ptr<Download> Get(std::string_view target);

 private:
  std::unique_ptr<Download> OpenDump(const DumpQuery& query, const Session& session,
                                     const std::string& caller);
  Reply Run(const Form& form);
  Reply Call(const Function& function, const Form& form, const Session& session);
  Session Authenticate(const Form& form);
  Session ActAs(const Form& form, const Session& session);
  void Log(const std::string& function, const std::string& caller, const std::string& result);

  Role role_;
  State& state_;
  dbserver::Endpoints endpoints_;
};

}  // namespace panel
