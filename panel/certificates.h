#pragma once

#include <array>
#include <optional>
#include <string>
#include <vector>

#include "panel/database.h"
#include "panel/form.h"

namespace panel {

/// The fields of a letsencrypt certificate's backup record.
inline constexpr std::array kBackupFields = {
    "cert_name", "domain_name",  "csr_req",    "acme_key",  "modulus",
    "verified",  "time_started", "check_type", "can_renew", "aliases"};

/// A certificate of a user.
struct Certificate {
  enum class Kind {
    kPlain,      ///< not from letsencrypt
    kVerifying,  ///< its domains are being verified
    kIssued,
    kNoRenew,  ///< issued, and not to be renewed
  };

  std::string user;
  bool letsencrypt = false;
  /// All of kBackupFields. Without letsencrypt all but cert_name and domain_name are empty.
  Fields fields;

  const std::string& name() const { return fields.at("cert_name"); }
  Kind kind() const;
};

/// The certificates of the panel. A name is unique among the certificates of one user.
class Certificates {
 public:
  explicit Certificates(Database& database);

  /// Throws Error "exists" when its user has a certificate of that name.
  void Add(const Certificate& certificate);
  /// Takes the place of the letsencrypt certificate of that name, or adds it. Throws Error "exists"
  /// when that name is a certificate's that is not from letsencrypt.
  void Save(const Certificate& certificate);
  /// Throws Error "missing" when `user` has no certificate of that name.
  Certificate Require(const std::string& user, const std::string& name);
  /// The certificates of `user` in order of their names.
  std::vector<Certificate> Of(const std::string& user);
  /// All certificates in order of their users and names.
  std::vector<Certificate> All();

 private:
  Database& database_;
};

}  // namespace panel
