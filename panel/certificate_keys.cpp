#include "panel/certificate_keys.h"

#include <openssl/bn.h>
#include <openssl/core_names.h>
#include <openssl/err.h>
#include <openssl/evp.h>
#include <openssl/pem.h>
#include <openssl/x509v3.h>

#include <algorithm>
#include <memory>

#include "panel/error.h"
#include "trel/str.h"

namespace panel::certificate_keys {
namespace {

constexpr unsigned kRsaBits = 2048;
constexpr std::size_t kMaxCommonName = 64;
constexpr std::size_t kMaxDomain = 253;
constexpr std::size_t kMaxLabel = 63;

template <auto Free>
struct FreedBy {
  void operator()(auto* object) const { Free(object); }
};
using Bio = std::unique_ptr<BIO, FreedBy<BIO_free_all>>;
using Key = std::unique_ptr<EVP_PKEY, FreedBy<EVP_PKEY_free>>;
using Number = std::unique_ptr<BIGNUM, FreedBy<BN_free>>;
using X509Request = std::unique_ptr<X509_REQ, FreedBy<X509_REQ_free>>;
using Extension = std::unique_ptr<X509_EXTENSION, FreedBy<X509_EXTENSION_free>>;
using AlternativeNames = std::unique_ptr<GENERAL_NAMES, FreedBy<GENERAL_NAMES_free>>;

void FreeExtensions(STACK_OF(X509_EXTENSION) * extensions) {
  sk_X509_EXTENSION_pop_free(extensions, X509_EXTENSION_free);
}
using Extensions = std::unique_ptr<STACK_OF(X509_EXTENSION), FreedBy<FreeExtensions>>;

void FreeText(void* text) {
  OPENSSL_free(text);
}

// The library's own words stay unused: they could tell about the key.
Error BadPem(const std::string& field, const std::string& problem) {
  ERR_clear_error();
  return {"value", field, "", "bad value of field " + field + ": " + problem};
}

void Check(bool done, const char* step) {
  if (!done) {
    const std::string reason = ERR_error_string(ERR_get_error(), nullptr);
    ERR_clear_error();
    throw Error("system", "certificate", "", std::string(step) + ": " + reason);
  }
}

Bio MemoryOf(const std::string& text) {
  Bio memory(BIO_new_mem_buf(text.data(), static_cast<int>(text.size())));
  Check(memory != nullptr, "read a text");
  return memory;
}

// Gives what `write` writes.
std::string Pem(auto write) {
  const Bio memory(BIO_new(BIO_s_secmem()));
  Check(memory != nullptr && write(memory.get()) == 1, "write a text");
  char* data = nullptr;
  const long size = BIO_get_mem_data(memory.get(), &data);
  return {data, static_cast<std::size_t>(size)};
}

// Empty when the key has no modulus.
std::string Modulus(const EVP_PKEY* key) {
  BIGNUM* found = nullptr;
  if (EVP_PKEY_get_bn_param(key, OSSL_PKEY_PARAM_RSA_N, &found) != 1) {
    return "";
  }
  const Number number(found);
  const std::unique_ptr<char, FreedBy<FreeText>> digits(BN_bn2hex(found));
  Check(digits != nullptr, "write a modulus");
  return digits.get();
}

void SetNames(X509_REQ* request, const std::string& domain, const std::set<std::string>& names) {
  if (domain.size() <= kMaxCommonName) {
    Check(
        X509_NAME_add_entry_by_NID(X509_REQ_get_subject_name(request), NID_commonName, MBSTRING_ASC,
                                   reinterpret_cast<const unsigned char*>(domain.data()),
                                   static_cast<int>(domain.size()), -1, 0) == 1,
        "name the subject");
  }
  std::string list = "DNS:" + domain;
  for (const std::string& name : names) {
    list += ",DNS:" + name;
  }
  Extension extension(X509V3_EXT_conf_nid(nullptr, nullptr, NID_subject_alt_name, list.c_str()));
  Check(extension != nullptr, "name the domains");
  const Extensions extensions(sk_X509_EXTENSION_new_null());
  Check(extensions && sk_X509_EXTENSION_push(extensions.get(), extension.get()) > 0,
        "name the domains");
  static_cast<void>(extension.release());  // owned by the stack from here on
  Check(X509_REQ_add_extensions(request, extensions.get()) == 1, "name the domains");
}

std::string TextOf(const ASN1_STRING* text) {
  return str::Lower({reinterpret_cast<const char*>(ASN1_STRING_get0_data(text)),
                     static_cast<std::size_t>(ASN1_STRING_length(text))});
}

void AddCommonNames(const std::string& field, X509_REQ* request, std::set<std::string>& names) {
  const X509_NAME* subject = X509_REQ_get_subject_name(request);
  int at = -1;
  while ((at = X509_NAME_get_index_by_NID(subject, NID_commonName, at)) >= 0) {
    const std::string name = TextOf(X509_NAME_ENTRY_get_data(X509_NAME_get_entry(subject, at)));
    if (!ValidDomain(name)) {
      throw BadPem(field, "its common name is no DNS name");
    }
    names.insert(name);
  }
}

void AddAlternativeNames(const std::string& field, X509_REQ* request,
                         std::set<std::string>& names) {
  const Extensions extensions(X509_REQ_get_extensions(request));
  int found = 0;
  const AlternativeNames list(static_cast<GENERAL_NAMES*>(
      X509V3_get_d2i(extensions.get(), NID_subject_alt_name, &found, nullptr)));
  if (!list && found != -1) {
    throw BadPem(field, "its alternative names cannot be read");
  }
  for (int i = 0; i < sk_GENERAL_NAME_num(list.get()); ++i) {
    const GENERAL_NAME* name = sk_GENERAL_NAME_value(list.get(), i);
    if (name->type != GEN_DNS || !ValidDomain(TextOf(name->d.dNSName))) {
      throw BadPem(field, "it asks for something else than DNS names");
    }
    names.insert(TextOf(name->d.dNSName));
  }
}

bool ValidLabel(std::string_view label) {
  return !label.empty() && label.size() <= kMaxLabel && label.front() != '-' &&
         label.back() != '-' &&
         label.find_first_not_of(
             "abcdefghijklmnopqrstuvwxyz"
             "ABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789_-") == std::string_view::npos;
}

}  // namespace

bool ValidDomain(std::string_view name) {
  if (name.empty() || name.size() > kMaxDomain || name.back() == '.') {
    return false;
  }
  if (name.starts_with("*.")) {
    name.remove_prefix(2);
  }
  while (!name.empty()) {
    const std::string_view label = name.substr(0, name.find('.'));
    if (!ValidLabel(label)) {
      return false;
    }
    name.remove_prefix(std::min(label.size() + 1, name.size()));
  }
  return true;
}

Generated Generate(const std::string& domain, const std::set<std::string>& names) {
  const Key key(EVP_RSA_gen(kRsaBits));
  const Key account(EVP_EC_gen("P-256"));
  Check(key && account, "make a key");
  const X509Request request(X509_REQ_new());
  Check(request != nullptr, "make a request");
  SetNames(request.get(), domain, names);
  Check(X509_REQ_set_pubkey(request.get(), key.get()) == 1, "name the key");
  Check(X509_REQ_sign(request.get(), key.get(), EVP_sha256()) > 0, "sign the request");
  return {.request = Pem([&](BIO* out) { return PEM_write_bio_X509_REQ(out, request.get()); }),
          .modulus = Modulus(key.get()),
          .account_key = Pem([&](BIO* out) {
            return PEM_write_bio_PrivateKey(out, account.get(), nullptr, nullptr, 0, nullptr,
                                            nullptr);
          })};
}

Request ReadRequest(const std::string& field, const std::string& pem) {
  const X509Request request(PEM_read_bio_X509_REQ(MemoryOf(pem).get(), nullptr, nullptr, nullptr));
  if (!request) {
    throw BadPem(field, "no certificate request in PEM");
  }
  EVP_PKEY* key = X509_REQ_get0_pubkey(request.get());
  if (key == nullptr || X509_REQ_verify(request.get(), key) != 1) {
    throw BadPem(field, "the request is not signed by its own key");
  }
  Request read{{}, Modulus(key)};
  if (read.modulus.empty()) {
    throw BadPem(field, "the request's key is no RSA key");
  }
  AddCommonNames(field, request.get(), read.names);
  AddAlternativeNames(field, request.get(), read.names);
  return read;
}

void CheckPrivateKey(const std::string& field, const std::string& pem) {
  // Without an answer of our own the library would ask for a passphrase on the terminal.
  const auto no_passphrase = [](char*, int, int, void*) { return -1; };
  const Key key(PEM_read_bio_PrivateKey(MemoryOf(pem).get(), nullptr, no_passphrase, nullptr));
  if (!key) {
    throw BadPem(field, "no private key in PEM without a passphrase");
  }
}

}  // namespace panel::certificate_keys
