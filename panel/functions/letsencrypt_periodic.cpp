#include "panel/functions/functions.h"

namespace panel::functions {
namespace {

// What is to be done for certificates of that kind; null for nothing.
const char* Step(Certificate::Kind kind) {
  switch (kind) {
    case Certificate::Kind::kVerifying:
      return "verify";
    case Certificate::Kind::kIssued:
      return "renew";
    case Certificate::Kind::kNoRenew:
    case Certificate::Kind::kPlain:
      break;
  }
  return nullptr;
}

}  // namespace

void LetsencryptPeriodic(const Context& context, Reply& reply) {
  for (const Certificate& certificate : context.state.certificates.All()) {
    if (const char* step = Step(certificate.kind())) {
      pugi::xml_node elem = reply.AddElement("elem");
      Reply::Add(elem, "name", certificate.name());
      Reply::Add(elem, "owner", certificate.user);
      Reply::Add(elem, "step", step);
    }
  }
}

}  // namespace panel::functions
