#include "panel/certificates.h"

#include "panel/error.h"

namespace panel {
namespace {

// All columns, in the order in which Read and Write take them.
constexpr const char* kColumns =
    "user, letsencrypt, cert_name, domain_name, csr_req, acme_key, modulus, verified, "
    "time_started, check_type, can_renew, aliases";

std::string Select(const char* condition) {
  return std::string("SELECT ") + kColumns + " FROM certificates " + condition;
}

Certificate Read(const Statement& row) {
  Certificate certificate{row.Text(0), row.Number(1) != 0, {}};
  for (std::size_t i = 0; i < kBackupFields.size(); ++i) {
    certificate.fields[kBackupFields[i]] = row.Text(static_cast<int>(i) + 2);
  }
  return certificate;
}

std::vector<Certificate> ReadAll(Statement rows) {
  std::vector<Certificate> certificates;
  while (rows.Next()) {
    certificates.push_back(Read(rows));
  }
  return certificates;
}

// Gives the number of rows that `verb` has written.
int Write(Database& database, const std::string& verb, const Certificate& certificate) {
  const std::string sql =
      verb + " INTO certificates(" + kColumns + ") VALUES (?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?)";
  const auto field = [&](std::size_t i) { return certificate.fields.at(kBackupFields.at(i)); };
  return Statement(database, sql.c_str(), certificate.user, certificate.letsencrypt, field(0),
                   field(1), field(2), field(3), field(4), field(5), field(6), field(7), field(8),
                   field(9))
      .Run();
}

}  // namespace

Certificate::Kind Certificate::kind() const {
  if (!letsencrypt) {
    return Kind::kPlain;
  }
  if (fields.at("verified") != "on") {
    return Kind::kVerifying;
  }
  return fields.at("can_renew") == "on" ? Kind::kIssued : Kind::kNoRenew;
}

Certificates::Certificates(Database& database) : database_(database) {
  database_.Exec(
      "CREATE TABLE IF NOT EXISTS certificates("
      "  user TEXT NOT NULL,"
      "  letsencrypt INTEGER NOT NULL,"
      "  cert_name TEXT NOT NULL,"
      "  domain_name TEXT NOT NULL,"
      "  csr_req TEXT NOT NULL,"
      "  acme_key TEXT NOT NULL,"
      "  modulus TEXT NOT NULL,"
      "  verified TEXT NOT NULL,"
      "  time_started TEXT NOT NULL,"
      "  check_type TEXT NOT NULL,"
      "  can_renew TEXT NOT NULL,"
      "  aliases TEXT NOT NULL,"
      "  PRIMARY KEY(user, cert_name)) STRICT");
}

void Certificates::Add(const Certificate& certificate) {
  if (Write(database_, "INSERT OR IGNORE", certificate) == 0) {
    throw Exists("certificate", certificate.name());
  }
}

void Certificates::Save(const Certificate& certificate) {
  Transaction transaction(database_);
  Statement(database_, "DELETE FROM certificates WHERE user = ? AND cert_name = ? AND letsencrypt",
            certificate.user, certificate.name())
      .Run();
  Add(certificate);
  transaction.Commit();
}

Certificate Certificates::Require(const std::string& user, const std::string& name) {
  Statement row(database_, Select("WHERE user = ? AND cert_name = ?").c_str(), user, name);
  if (!row.Next()) {
    throw Missing("certificate", name);
  }
  return Read(row);
}

std::vector<Certificate> Certificates::Of(const std::string& user) {
  return ReadAll({database_, Select("WHERE user = ? ORDER BY cert_name").c_str(), user});
}

std::vector<Certificate> Certificates::All() {
  return ReadAll({database_, Select("ORDER BY user, cert_name").c_str()});
}

}  // namespace panel
