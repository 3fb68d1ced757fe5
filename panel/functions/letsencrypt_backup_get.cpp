#include "panel/functions/functions.h"

namespace panel::functions {

void LetsencryptBackupGet(const Context& context, Reply& reply) {
  const std::string name = context.form.Require("cert_name");
  if (context.session.administrator()) {
    context.form.Require("su");  // names are unique among the certificates of one user alone
  }
  const Certificate certificate = context.state.certificates.Require(context.session.user, name);
  if (!certificate.letsencrypt) {
    return;
  }
  pugi::xml_node backup = reply.AddElement("backup");
  for (const char* field : kBackupFields) {
    Reply::Add(backup, field, certificate.fields.at(field));
  }
}

}  // namespace panel::functions
