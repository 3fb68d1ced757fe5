#include "panel/functions/functions.h"

namespace panel::functions {
namespace {

// The column that is on for certificates of that kind; none for plain ones.
const char* Column(Certificate::Kind kind) {
  switch (kind) {
    case Certificate::Kind::kIssued:
      return "letsencrypt";
    case Certificate::Kind::kVerifying:
      return "letsencrypt_verifying";
    case Certificate::Kind::kNoRenew:
      return "letsencrypt_norenew";
    case Certificate::Kind::kPlain:
      break;
  }
  return nullptr;
}

}  // namespace

void Sslcert(const Context& context, Reply& reply) {
  Certificates& certificates = context.state.certificates;
  const Session& session = context.session;
  for (const Certificate& certificate :
       session.administrator() ? certificates.All() : certificates.Of(session.user)) {
    pugi::xml_node elem = reply.AddElement("elem");
    Reply::Add(elem, "name", certificate.name());
    Reply::Add(elem, "owner", certificate.user);
    Reply::Add(elem, "domain_name", certificate.fields.at("domain_name"));
    const char* column = Column(certificate.kind());
    if (column != nullptr && context.role.letsencrypt) {
      Reply::Add(elem, column, "on");
    }
  }
}

}  // namespace panel::functions
