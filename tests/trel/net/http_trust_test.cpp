#include "client.h"
#include "web_server.h"

namespace net_test {
namespace {

constexpr char kWrongPin[] = "sha256//AAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAA=";

/// A panel with a self-signed certificate.
class HttpTrust : public testing::Test {
 protected:
  HttpTrust() : server_(TestCertificate()) {
    server_.routes().Post("/", [](const httplib::Request&, httplib::Response& response) {
      response.set_content("in", "text/plain");
    });
    server_.Start();
  }

  std::string Ask() { return Client(conf_).Post(server_.url(), "secret=1").body; }
  std::string Refusal() {
    return FailureOf([this] { Ask(); });
  }

  WebServer server_;
  trel_seam::Conf conf_;
};

TEST_F(HttpTrust, RefusesASelfSignedCertificate) {
  EXPECT_EQ(Refusal(), server_.place() +
                           ": the certificate could not be verified: "
                           "self-signed certificate");
}

TEST_F(HttpTrust, AcceptsTheCertificatesOfTheConfiguredFile) {
  conf_.ca_file = TestCertificate().file;
  EXPECT_EQ(Ask(), "in");
}

TEST_F(HttpTrust, NamesAConfiguredFileThatHoldsNoCertificate) {
  const Scratch scratch;
  conf_.ca_file = scratch.Write("empty.pem", "");
  EXPECT_EQ(Refusal(),
            server_.place() + ": error setting certificate file: " + scratch.Path("empty.pem"));
}

TEST_F(HttpTrust, RefusesACertificateForAnotherName) {
  const Scratch scratch;
  const auto other = MakeCertificate(scratch, "DNS:other.example");
  WebServer server(other);
  server.Start();
  conf_.ca_file = other.file;
  EXPECT_EQ(FailureOf([&] { Client(conf_).Post(server.url()); }),
            server.place() +
                ": the certificate could not be verified: no alternative certificate "
                "subject name matches target host name '127.0.0.1'");
}

TEST_F(HttpTrust, AcceptsAPinnedKeyInPlaceOfAChain) {
  conf_.pins[server_.place()] = TestCertificate().pin;
  EXPECT_EQ(Ask(), "in");
}

TEST_F(HttpTrust, AcceptsAPinnedKeyWhateverNameItsCertificateHas) {
  const Scratch scratch;
  const auto other = MakeCertificate(scratch, "DNS:other.example");
  WebServer server(other);
  server.Start();
  conf_.pins[server.place()] = other.pin;
  EXPECT_EQ(Client(conf_).Post(server.url()).status, 404);
}

TEST_F(HttpTrust, TakesThePinOfAHostInAnyCase) {
  const auto port = server_.place().substr(server_.place().find(':'));
  conf_.pins["LocalHost" + port] = TestCertificate().pin;
  EXPECT_EQ(Client(conf_).Post("https://localHOST" + port + "/").body, "in");
}

TEST_F(HttpTrust, RefusesAKeyThatIsNotThePinnedOne) {
  conf_.pins[server_.place()] = kWrongPin;
  EXPECT_EQ(Refusal(), server_.place() + ": the certificate's key is not the pinned one");
}

TEST_F(HttpTrust, DoesNotTakeTheChainForThePin) {
  conf_.pins[server_.place()] = kWrongPin;
  conf_.ca_file = TestCertificate().file;
  EXPECT_EQ(Refusal(), server_.place() + ": the certificate's key is not the pinned one");
}

TEST_F(HttpTrust, TakesAPinForItsOwnHostAndPortAlone) {
  conf_.pins["127.0.0.1:1"] = TestCertificate().pin;
  EXPECT_NE(Refusal().find("could not be verified"), std::string::npos);
}

TEST_F(HttpTrust, KeepsNoConnectionAcrossTwoKindsOfTrust) {
  conf_.pins[server_.place()] = TestCertificate().pin;
  const auto pinned = trel_seam::MakeHttp(conf_);
  const auto plain = trel_seam::MakeHttp(trel_seam::Conf());
  std::string failure;
  // Both share the handle of one thread, which ends with its connections.
  std::thread([&] {
    trel_seam::HttpPost post;
    post.url = server_.url();
    pinned->Post(post);
    failure = FailureOf([&] { plain->Post(post); });
  }).join();
  EXPECT_NE(failure.find("could not be verified"), std::string::npos);
}

}  // namespace
}  // namespace net_test
