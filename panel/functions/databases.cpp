#include "panel/functions/databases.h"

#include <utility>

#include "panel/error.h"
#include "panel/text.h"

namespace panel::functions {
namespace {

Error Foreign(const std::string& what, const HostedName& id) {
  return {"access", what, id.name,
          what + " '" + OneLine(id.name) + "' on server '" + OneLine(id.server) +
              "' belongs to another user"};
}

}  // namespace

void RequireOwn(const Context& context, const std::string& what, const Hosted& hosted) {
  if (!context.session.administrator() && hosted.owner != context.session.user) {
    throw Foreign(what, hosted.id);
  }
}

Hosted RequireDatabase(const Context& context, const std::string& field) {
  const HostedName id = HostedName::ParseKey(field, context.form.Require(field));
  const std::optional<Hosted> database = context.state.hosted.FindDatabase(id);
  if (!database) {
    throw Missing("database", id.Key());
  }
  RequireOwn(context, kDatabase, *database);
  return *database;
}

Hosted RequireDatabaseUser(const Context& context, const HostedName& id) {
  const std::optional<Hosted> user = context.state.hosted.FindUser(id);
  if (!user) {
    throw Missing(kDatabaseUser, id.name);
  }
  RequireOwn(context, kDatabaseUser, *user);
  return *user;
}

std::unique_ptr<dbserver::DatabaseServer> OpenServer(const Context& context,
                                                     const std::string& server) {
  const HostedServer hosted = context.state.hosted.RequireServer(server);
  if (hosted.remote) {
    throw BadValue("server", server, "a database server of this host");
  }
  return dbserver::OpenServer(hosted.type, context.endpoints);
}

dbserver::UserOnServer ReadDatabaseUser(const Context& context, const HostedName& database,
                                        const std::string& user) {
  dbserver::UserOnServer read = OpenServer(context, database.server)->ReadUser(database.name, user);
  if (context.state.hosted.RequireServer(database.server).type == dbserver::Type::kPostgres) {
    read.hosts = context.state.hosted.HostsOf({database.server, user});
  }
  return read;
}

}  // namespace panel::functions
