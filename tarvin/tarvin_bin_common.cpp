#include "tarvin/log.h"
#include "tarvin/tarvin_bin.h"

namespace {

const trel_log::Module log_module("tarvin", "vortrel");
constexpr char kSource[] = "tarvin/tarvin_bin_common";

/// What is carried of a certificate.
constexpr const char* kBackupFields[] = {"cert_name", "domain_name", "csr_req",      "acme_key",
                                         "modulus",   "verified",    "time_started", "check_type",
                                         "can_renew", "aliases"};

}  // namespace

namespace tarvin_bin {

bool CheckLetsencrypt(trel_client::Client& client, const std::string& side,
                      const std::string& auth) {
  std::string query = "func=actionlist&out=xml";
  if (!auth.empty()) query += "&auth=" + str::url::Encode(auth);
  if (!client.Query(query).GetNode("/doc/elem[action='letsencrypt.periodic']")) {
    TARVIN_LOG(9, "%s:%d no letsencrypt on %s server. stop letsencrypt import", TARVIN_PLACE,
               side.c_str());
    return false;
  }
  TARVIN_LOG(9, "%s:%d %s server has letsencrypt. proceed letsencrypt import", TARVIN_PLACE,
             side.c_str());
  return true;
}

void Import5Lite::LetsencryptImport() {
  TARVIN_LOG(8, "%s", "virtual void tarvin_bin::Import5Lite::LetsencryptImport()");
  trel_client::Local local("vortrel", "tarvin");
  trel_client::Remote source(url_);
  if (!CheckLetsencrypt(source, "remote", root_auth_) || !CheckLetsencrypt(local, "local", "")) {
    return;
  }
  const auto certificates = source.Query("func=sslcert&auth=?", auth_id_)
                                .GetNodes(
                                    "/doc/elem[letsencrypt='on' or "
                                    "letsencrypt_verifying='on' or letsencrypt_norenew='on']");
  for (const auto& certificate : certificates) {
    const auto result = source.Query("func=letsencrypt.backup.get&auth=?&cert_name=?", auth_id_,
                                     certificate.FindNode("name").Str());
    TARVIN_LOG(9, "%s:%d result xml '%s'", TARVIN_PLACE, result.Str(true).c_str());
    const auto backup = result.GetNode("/doc/backup");
    if (!backup) continue;
    StringMap params{{"su", username_}, {"user_name", username_}};
    for (const char* field : kBackupFields) params[field] = backup.FindNode(field).Str();
    params["sok"] = "ok";
    try {
      local.Query("func=letsencrypt.backup.set", params);
    } catch (const trel_err::Error&) {
      TARVIN_LOG(4, "failed register '%s' certificate in letsencrypt plugin",
                 params["cert_name"].c_str());
    }
  }
}

}  // namespace tarvin_bin
