#include <algorithm>
#include <set>

#include "panel/certificate_keys.h"
#include "panel/error.h"
#include "panel/functions/functions.h"
#include "panel/text.h"
#include "trel/str.h"

namespace panel::functions {
namespace {

// The user who gets the certificate: named twice, as the one acted for and as the owner.
std::string Owner(const Context& context) {
  if (!context.form.Has("su") && !context.session.administrator()) {
    throw Denied("letsencrypt.backup.set");
  }
  std::string user = context.form.Require("su");
  if (context.form.Require("user_name") != user) {
    throw BadValue("user_name", context.form.Get("user_name"), "must be the user of field su");
  }
  return user;
}

Certificate ReadRecord(const Context& context) {
  Certificate certificate{Owner(context), true, {}};
  for (const char* field : kBackupFields) {
    certificate.fields[field] = context.form.Get(field);
    if (!IsXmlText(certificate.fields[field])) {
      throw BadValue(field, "", "text in UTF-8 without control characters");
    }
  }
  for (const char* field : {"cert_name", "domain_name", "csr_req", "acme_key", "modulus"}) {
    context.form.Require(field);
  }
  context.form.Flag("verified");
  context.form.Flag("can_renew");
  return certificate;
}

std::set<std::string> Domains(const Certificate& certificate) {
  std::string aliases = str::Lower(certificate.fields.at("aliases"));
  std::replace(aliases.begin(), aliases.end(), ',', ' ');
  std::set<std::string> domains = {str::Lower(certificate.fields.at("domain_name"))};
  for (aliases = str::Trim(aliases); !aliases.empty(); aliases = str::Trim(aliases)) {
    domains.insert(str::GetWord(aliases));
  }
  return domains;
}

void CheckRecord(const Certificate& certificate) {
  const auto request = certificate_keys::ReadRequest("csr_req", certificate.fields.at("csr_req"));
  if (str::Lower(certificate.fields.at("modulus")) != str::Lower(request.modulus)) {
    throw BadValue("modulus", "", "must be that of the key in field csr_req");
  }
  if (request.names != Domains(certificate)) {
    throw BadValue("domain_name", certificate.fields.at("domain_name"),
                   "with the aliases these must be the names that field csr_req asks for: " +
                       str::Join({request.names.begin(), request.names.end()}, " "));
  }
  certificate_keys::CheckPrivateKey("acme_key", certificate.fields.at("acme_key"));
}

}  // namespace

void LetsencryptBackupSet(const Context& context, Reply& reply) {
  const Certificate certificate = ReadRecord(context);
  if (!context.form.Submitted()) {
    throw BadValue("sok", context.form.Get("sok"), "a backup is taken over with sok=ok");
  }
  CheckRecord(certificate);
  context.state.certificates.Save(certificate);
  reply.Add("ok", "");
}

}  // namespace panel::functions
