#pragma once

#include <set>
#include <string>
#include <string_view>

/// Keys and signing requests of certificates, in PEM.
namespace panel::certificate_keys {

/// True when a certificate can be issued for `name`: a DNS name in ASCII, or `*.` before one.
bool ValidDomain(std::string_view name);

/// What a certificate is requested with.
struct Generated {
  std::string request;      ///< signed by a new RSA key of 2048 bits
  std::string modulus;      ///< of that key: upper-case hexadecimal digits
  std::string account_key;  ///< a new private key of the account at the authority
};

/// Makes the keys and the request for `domain` and all of `names`. Throws Error "system".
/// REQUIRES: all of them are valid domains.
Generated Generate(const std::string& domain, const std::set<std::string>& names);

/// What a signing request says.
struct Request {
  std::set<std::string> names;  ///< the DNS names that it is for, in lower case
  std::string modulus;          ///< of its key: upper-case hexadecimal digits
};

/// Reads the signing request `pem`. Throws Error "value" for field `field`, without showing the
/// text, when it is none, is not signed by its own key, has no RSA key or asks for other names than
/// those of DNS.
Request ReadRequest(const std::string& field, const std::string& pem);

/// Throws Error "value" for field `field`, without showing the text, unless `pem` is a private key
/// that no passphrase protects.
void CheckPrivateKey(const std::string& field, const std::string& pem);

}  // namespace panel::certificate_keys
