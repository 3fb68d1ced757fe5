#include <chrono>
#include <ctime>
#include <iostream>

#include "panel/certificate_keys.h"
#include "panel/commands.h"
#include "panel/digest.h"
#include "panel/error.h"
#include "panel/text.h"
#include "trel/str.h"

namespace panel::commands {
namespace {

using Kind = Certificate::Kind;

std::string Now() {
  const std::time_t now = std::chrono::system_clock::to_time_t(std::chrono::system_clock::now());
  std::tm parts{};
  gmtime_r(&now, &parts);
  char text[sizeof("2026-01-01 00:00:00")];
  return {text, std::strftime(text, sizeof(text), "%F %T", &parts)};
}

void CheckDomain(const char* field, const std::string& domain) {
  if (!certificate_keys::ValidDomain(domain)) {
    throw BadValue(field, domain, "a DNS name, or *. and a DNS name");
  }
}

Certificate Plain(const CertificateOptions& options) {
  Certificate certificate{options.user, false, {}};
  for (const char* field : kBackupFields) {
    certificate.fields[field] = "";
  }
  certificate.fields["cert_name"] = options.name;
  certificate.fields["domain_name"] = options.domain;
  return certificate;
}

Certificate FromLetsencrypt(const CertificateOptions& options) {
  Certificate certificate = Plain(options);
  const certificate_keys::Generated keys =
      certificate_keys::Generate(options.domain, {options.aliases.begin(), options.aliases.end()});
  certificate.letsencrypt = true;
  certificate.fields["csr_req"] = keys.request;
  certificate.fields["modulus"] = keys.modulus;
  certificate.fields["acme_key"] = keys.account_key;
  certificate.fields["verified"] = options.kind == Kind::kVerifying ? "off" : "on";
  certificate.fields["time_started"] = Now();
  certificate.fields["check_type"] = "http";
  certificate.fields["can_renew"] = options.kind == Kind::kIssued ? "on" : "off";
  certificate.fields["aliases"] = str::Join(options.aliases, " ");
  return certificate;
}

const char* NameOf(Kind kind) {
  switch (kind) {
    case Kind::kIssued:
      return "issued";
    case Kind::kVerifying:
      return "verifying";
    case Kind::kNoRenew:
      return "norenew";
    case Kind::kPlain:
      break;
  }
  return "plain";
}

// A secret, or a text of many lines: shown so that it can be compared.
bool ShownAsDigest(std::string_view field) {
  return field == "acme_key" || field == "csr_req" || field == "modulus";
}

void Print(const Certificate& certificate) {
  std::cout << certificate.user << " " << NameOf(certificate.kind());
  for (const char* field : kBackupFields) {
    const std::string& value = certificate.fields.at(field);
    if (!value.empty()) {
      std::cout << " " << field << "=\""
                << (ShownAsDigest(field) ? "sha256:" + Sha256(value) : OneLine(value)) << '"';
    }
  }
  std::cout << "\n";
}

}  // namespace

void AddCertificate(const std::filesystem::path& state, const CertificateOptions& options) {
  State opened(state, Database::Open::kExisting);
  opened.users.Require(options.user);
  if (options.name.empty() || !IsXmlText(options.name)) {
    throw BadValue("NAME", options.name, "text in UTF-8 without control characters");
  }
  CheckDomain("DOMAIN", options.domain);
  for (const std::string& alias : options.aliases) {
    CheckDomain("--alias", alias);
  }
  opened.certificates.Add(options.kind == Kind::kPlain ? Plain(options) : FromLetsencrypt(options));
}

void ListCertificates(const std::filesystem::path& state) {
  for (const Certificate& certificate :
       State(state, Database::Open::kExisting).certificates.All()) {
    Print(certificate);
  }
}

}  // namespace panel::commands
