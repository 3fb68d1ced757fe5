#include "panel/error.h"
#include "panel/functions/form_description.h"
#include "panel/functions/functions.h"

namespace panel::functions {

void DbconfEdit(const Context& context, Reply& reply) {
  if (context.form.Submitted()) {
    throw Denied("dbconf.edit");
  }
  const HostedServer server = context.state.hosted.RequireServer(context.form.Require("elid"));
  const auto type = [](dbserver::Type of) { return std::string(dbserver::TypeName(of)); };
  reply.Add("elid", server.name);
  reply.Add("name", server.name);
  reply.Add("type", type(server.type));
  reply.Add("contype", server.remote ? "remote" : "local");
  reply.Add("host", server.host);
  using Kind = FieldDescription::Kind;
  DescribeForm(
      context,
      {{"name"},
       {"type", Kind::kSelect, {type(dbserver::Type::kMariadb), type(dbserver::Type::kPostgres)}},
       {"contype", Kind::kSelect, {"local", "remote"}},
       {"host"}},
      reply);
}

}  // namespace panel::functions
