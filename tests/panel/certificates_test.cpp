#include "panel/certificates.h"

#include <gtest/gtest.h>

#include "panel/certificate_keys.h"
#include "panel/digest.h"
#include "panel/panel.h"
#include "temp_dir.h"
#include "trel/str.h"

namespace panel {
namespace {

using Kind = Certificate::Kind;

Certificate Plain(const std::string& user, const std::string& name) {
  Certificate certificate{user, false, {}};
  for (const char* field : kBackupFields) {
    certificate.fields[field] = "";
  }
  certificate.fields["cert_name"] = name;
  certificate.fields["domain_name"] = "site.example";
  return certificate;
}

Certificate WithKeys(const std::string& user, const std::string& name, const char* verified = "on",
                     const char* can_renew = "on") {
  static const auto keys = certificate_keys::Generate("Site.Example", {"www.site.example"});
  Certificate certificate = Plain(user, name);
  certificate.letsencrypt = true;
  certificate.fields["csr_req"] = keys.request;
  certificate.fields["modulus"] = keys.modulus;
  certificate.fields["acme_key"] = keys.account_key;
  certificate.fields["verified"] = verified;
  certificate.fields["can_renew"] = can_renew;
  certificate.fields["aliases"] = "www.site.example";
  return certificate;
}

class CertificatesTest : public testing::Test {
 protected:
  CertificatesTest() {
    state_.users.Add("alice");
    state_.users.Add("bob");
  }

  pugi::xml_node Ask(Panel& panel, const std::string& body) {
    const std::string answer = panel.Answer(body);
    EXPECT_TRUE(document_.load_buffer(answer.data(), answer.size())) << answer;
    return document_.child("doc");
  }
  std::string ErrorOf(Panel& panel, const std::string& body) {
    const pugi::xml_node error = Ask(panel, body).child("error");
    return error ? std::string(error.attribute("object").value()) + ": " + error.child_value("msg")
                 : "ok";
  }
  // Hands a record to alice, as the administrator.
  std::string Set(const Fields& fields, const std::string& more = "&sok=ok&user_name=alice") {
    std::string body = "func=letsencrypt.backup.set&su=alice" + more;
    for (const auto& [name, value] : fields) {
      body += "&" + name + "=" + str::url::Encode(value);
    }
    return ErrorOf(panel_, body);
  }
  std::string SetWith(const std::string& field, const std::string& value) {
    Fields fields = WithKeys("alice", "c").fields;
    fields[field] = value;
    return Set(fields);
  }

  TempDir dir_;
  State state_{dir_ / "state.db", Database::Open::kCreate};
  Panel panel_{{.side = Side::kLocal, .generation = Generation::k5}, state_};
  Panel without_plugin_{{.side = Side::kLocal, .generation = Generation::k5, .letsencrypt = false},
                        state_};
  std::string alice_ = "&auth=" + state_.sessions.Open({"alice"});
  std::string bob_ = "&auth=" + state_.sessions.Open({"bob"});
  pugi::xml_document document_;
};

TEST_F(CertificatesTest, TheKindFollowsFromTheRecord) {
  EXPECT_EQ(Plain("alice", "c").kind(), Kind::kPlain);
  EXPECT_EQ(WithKeys("alice", "c").kind(), Kind::kIssued);
  EXPECT_EQ(WithKeys("alice", "c", "off", "on").kind(), Kind::kVerifying);
  EXPECT_EQ(WithKeys("alice", "c", "", "").kind(), Kind::kVerifying);
  EXPECT_EQ(WithKeys("alice", "c", "on", "off").kind(), Kind::kNoRenew);
  EXPECT_EQ(WithKeys("alice", "c", "on", "").kind(), Kind::kNoRenew);
}

TEST_F(CertificatesTest, NamesAreUniqueForEachUser) {
  state_.certificates.Add(Plain("alice", "c"));
  state_.certificates.Add(Plain("bob", "c"));
  EXPECT_THROW(state_.certificates.Add(Plain("alice", "c")), Error);
  EXPECT_THROW(state_.certificates.Require("alice", "d"), Error);
  EXPECT_EQ(state_.certificates.Of("alice").size(), 1U);
  EXPECT_EQ(state_.certificates.All().size(), 2U);
}

TEST_F(CertificatesTest, TheActionListTellsWhetherThePluginIsThere) {
  const char* periodic = "elem[action='letsencrypt.periodic' and name]";
  EXPECT_TRUE(Ask(panel_, "func=actionlist&out=xml").select_node(periodic));
  EXPECT_FALSE(Ask(without_plugin_, "func=actionlist&out=xml").select_node(periodic));
  EXPECT_TRUE(Ask(without_plugin_, "func=actionlist").select_node("elem[action='user.edit']"));
  for (const char* function : {"periodic", "backup.get", "backup.set"}) {
    const std::string name = std::string("letsencrypt.") + function;
    EXPECT_EQ(ErrorOf(without_plugin_, "func=" + name), "function: no function '" + name + "'");
  }
}

TEST_F(CertificatesTest, TheActionListHasWhatTheSessionMayCall) {
  const pugi::xml_node doc = Ask(panel_, "func=actionlist" + alice_);
  EXPECT_TRUE(doc.select_node("elem[action='user.edit']"));
  EXPECT_FALSE(doc.select_node("elem[action='user.disable']"));
  EXPECT_FALSE(doc.select_node("elem[action='letsencrypt.periodic']"));
}

TEST_F(CertificatesTest, TheListHasTheUsersCertificatesAndTheAdministratorsThoseOfAll) {
  state_.certificates.Add(Plain("alice", "plain"));
  state_.certificates.Add(WithKeys("alice", "issued"));
  state_.certificates.Add(WithKeys("alice", "verifying", "off", "off"));
  state_.certificates.Add(WithKeys("bob", "norenew", "on", "off"));
  pugi::xml_node doc = Ask(panel_, "func=sslcert" + alice_);
  EXPECT_EQ(std::distance(doc.begin(), doc.end()), 3);
  const char* known = "elem[letsencrypt='on' or letsencrypt_verifying='on']";
  EXPECT_EQ(doc.select_nodes(known).size(), 2U);
  EXPECT_TRUE(doc.select_node("elem[name='issued' and letsencrypt='on' and count(*)=4]"));
  EXPECT_TRUE(doc.select_node("elem[name='verifying' and letsencrypt_verifying='on']"));
  EXPECT_TRUE(doc.select_node("elem[name='plain' and owner='alice' and count(*)=3]"));
  doc = Ask(panel_, "func=sslcert");
  EXPECT_EQ(std::distance(doc.begin(), doc.end()), 4);
  EXPECT_TRUE(doc.select_node("elem[owner='bob' and letsencrypt_norenew='on']"));
  doc = Ask(without_plugin_, "func=sslcert");
  EXPECT_EQ(doc.select_nodes("elem[count(*)=3]").size(), 4U);
}

TEST_F(CertificatesTest, ThePeriodicActionGivesWhatIsToBeDone) {
  state_.certificates.Add(Plain("alice", "plain"));
  state_.certificates.Add(WithKeys("alice", "issued"));
  state_.certificates.Add(WithKeys("bob", "norenew", "on", "off"));
  state_.certificates.Add(WithKeys("bob", "verifying", "off"));
  const pugi::xml_node doc = Ask(panel_, "func=letsencrypt.periodic");
  EXPECT_EQ(std::distance(doc.begin(), doc.end()), 2);
  EXPECT_TRUE(doc.select_node("elem[owner='alice' and name='issued' and step='renew']"));
  EXPECT_TRUE(doc.select_node("elem[owner='bob' and name='verifying' and step='verify']"));
  EXPECT_EQ(ErrorOf(panel_, "func=letsencrypt.periodic" + alice_), "func: Permission denied");
}

TEST_F(CertificatesTest, ABackupIsItsOwnersAlone) {
  const Certificate certificate = WithKeys("alice", "my cert");
  state_.certificates.Add(certificate);
  const std::string query = "func=letsencrypt.backup.get&cert_name=my%20cert";
  const pugi::xml_node backup = Ask(panel_, query + alice_).child("backup");
  EXPECT_EQ(std::distance(backup.begin(), backup.end()), 10);
  for (const auto& [name, value] : certificate.fields) {
    EXPECT_EQ(backup.child_value(name.c_str()), value);
  }
  EXPECT_EQ(ErrorOf(panel_, query + bob_), "certificate: no certificate 'my cert'");
  EXPECT_EQ(ErrorOf(panel_, query), "su: field su is missing or empty");
  EXPECT_TRUE(Ask(panel_, query + "&su=alice").child("backup"));
  EXPECT_EQ(ErrorOf(panel_, "func=letsencrypt.backup.get" + alice_),
            "cert_name: field cert_name is missing or empty");
}

TEST_F(CertificatesTest, ACertificateFromElsewhereHasNoBackup) {
  state_.certificates.Add(Plain("alice", "c"));
  const pugi::xml_node doc = Ask(panel_, "func=letsencrypt.backup.get&cert_name=c" + alice_);
  EXPECT_EQ(std::distance(doc.begin(), doc.end()), 0);
}

TEST_F(CertificatesTest, ABackupThatIsSetIsKeptAsItIs) {
  Fields fields = WithKeys("alice", " c ").fields;
  fields["time_started"] = "yesterday";
  fields["check_type"] = "dns & more";
  EXPECT_EQ(Set(fields), "ok");
  EXPECT_EQ(state_.certificates.Require("alice", " c ").fields, fields);
  fields["can_renew"] = "off";
  EXPECT_EQ(Set(fields), "ok");
  EXPECT_EQ(state_.certificates.Require("alice", " c ").kind(), Kind::kNoRenew);
  EXPECT_EQ(state_.certificates.All().size(), 1U);
}

TEST_F(CertificatesTest, ABackupDoesNotReplaceACertificateFromElsewhere) {
  state_.certificates.Add(Plain("alice", "c"));
  EXPECT_EQ(SetWith("check_type", "http"), "certificate: certificate 'c' exists already");
  EXPECT_EQ(state_.certificates.Require("alice", "c").kind(), Kind::kPlain);
}

TEST_F(CertificatesTest, OnlyTheAdministratorSetsABackupAndForOneUser) {
  const Fields fields = WithKeys("alice", "c").fields;
  EXPECT_EQ(Set(fields, "&user_name=alice"),
            "sok: bad value '' of field sok: a backup is taken over with sok=ok");
  EXPECT_EQ(Set(fields, "&sok=ok"), "user_name: field user_name is missing or empty");
  EXPECT_EQ(Set(fields, "&sok=ok&user_name=bob"),
            "user_name: bad value 'bob' of field user_name: must be the user of field su");
  EXPECT_EQ(ErrorOf(panel_, "func=letsencrypt.backup.set&sok=ok&user_name=alice" + alice_),
            "func: Permission denied");
  EXPECT_EQ(ErrorOf(panel_, "func=letsencrypt.backup.set&sok=ok&user_name=alice"),
            "su: field su is missing or empty");
  EXPECT_TRUE(state_.certificates.All().empty());
}

TEST_F(CertificatesTest, ARecordThatDoesNotHoldTogetherIsRefusedByField) {
  for (const char* field : {"cert_name", "domain_name", "csr_req", "acme_key", "modulus"}) {
    EXPECT_EQ(SetWith(field, ""), std::string(field) + ": field " + field + " is missing or empty");
  }
  EXPECT_EQ(SetWith("csr_req", "-----BEGIN"),
            "csr_req: bad value of field csr_req: no certificate request in PEM");
  EXPECT_EQ(SetWith("acme_key", "hush"),
            "acme_key: bad value of field acme_key: no private key in PEM without a passphrase");
  EXPECT_EQ(SetWith("modulus", "ABCD"),
            "modulus: bad value '' of field modulus: must be that of the key in field csr_req");
  EXPECT_EQ(SetWith("verified", "yes"), "verified: bad value 'yes' of field verified: on or off");
  EXPECT_EQ(SetWith("can_renew", "1"), "can_renew: bad value '1' of field can_renew: on or off");
  EXPECT_EQ(SetWith("check_type", "\x01"),
            "check_type: bad value '' of field check_type: "
            "text in UTF-8 without control characters");
  EXPECT_TRUE(state_.certificates.All().empty());
}

TEST_F(CertificatesTest, TheNamesMustBeThoseOfTheRequest) {
  const std::string rule =
      "of field domain_name: with the aliases these must be the names that field csr_req asks for: "
      "site.example www.site.example";
  EXPECT_EQ(SetWith("domain_name", "other.example"),
            "domain_name: bad value 'other.example' " + rule);
  EXPECT_EQ(SetWith("aliases", ""), "domain_name: bad value 'site.example' " + rule);
  EXPECT_EQ(SetWith("aliases", "www.site.example other.example"),
            "domain_name: bad value 'site.example' " + rule);
  EXPECT_EQ(SetWith("aliases", " WWW.site.example, site.example ,"), "ok");
}

TEST(CertificateKeys, DomainsAreDnsNames) {
  const std::string label63(63, 'a');
  for (const std::string& good :
       {std::string("localhost"), std::string("a-b.example"), std::string("*.site.example"),
        std::string("xn--80ak6aa92e.example"), label63 + ".example"}) {
    EXPECT_TRUE(certificate_keys::ValidDomain(good)) << good;
  }
  for (const std::string& bad :
       {std::string(""), std::string("."), std::string("a..b"), std::string("a."),
        std::string("-a.example"), std::string("a-.example"), std::string("a,DNS:b"),
        std::string("a b"), std::string("*.*.a"), std::string("www.*.a"), std::string("*."),
        label63 + "a.example", label63 + "." + label63 + "." + label63 + "." + label63}) {
    EXPECT_FALSE(certificate_keys::ValidDomain(bad)) << bad;
  }
}

TEST(CertificateKeys, ADomainTooLongForACommonNameIsAmongTheAlternativeNames) {
  const std::string domain = std::string(60, 'a') + ".site.example";
  const auto keys = certificate_keys::Generate(domain, {});
  const auto request = certificate_keys::ReadRequest("f", keys.request);
  EXPECT_EQ(request.names, std::set<std::string>{domain});
  EXPECT_EQ(request.modulus, keys.modulus);
}

TEST(Digest, IsThatOfTheStandard) {
  EXPECT_EQ(Sha256("abc"), "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad");
}

}  // namespace
}  // namespace panel
