// What a password, a key or a query leaves behind in memory once it was used.

#include <gtest/gtest.h>
#include <sys/uio.h>
#include <unistd.h>

#include "support/seam.h"
#include "trel/trel_client.h"
#include "trel/trel_err.h"
#include "trel/trel_rpc.h"

namespace {

using support::ErrorOf;

/// Long enough that the allocator's own notes at its begin spare most of it.
const std::string kSecret = "a-password-or-key-" + std::string(100, 's') + "-its-end";

/// Where a text was.
struct Place {
  const void* at = nullptr;
  std::size_t size = 0;

  explicit Place(const std::string& text) : at(text.data()), size(text.size()) {
    EXPECT_NE(text.find(kSecret), std::string::npos);
  }

  /// Reads by way of the system, which does not mind that the text has ended.
  bool HoldsTheSecret() const {
    std::string bytes(size, '\0');
    const iovec to{bytes.data(), size};
    const iovec from{const_cast<void*>(at), size};
    EXPECT_EQ(process_vm_readv(getpid(), &to, 1, &from, 1, 0), static_cast<ssize_t>(size));
    return bytes.find(kSecret.substr(kSecret.size() / 2)) != std::string::npos;
  }
};

/// Remembers where the secrets of a login are, then takes or refuses it.
class WatchingSsh : public trel_seam::Ssh {
 public:
  std::unique_ptr<trel_seam::SshConnection> Connect(const trel_seam::SshTarget& target) override {
    for (const auto* text : {&target.password, &target.key, &target.passphrase}) {
      if (!text->empty()) places.emplace_back(*text);
    }
    if (refuses) throw trel_seam::SshFailure(trel_seam::SshStep::kAuth, "refused");
    return nullptr;
  }
  bool refuses = false;
  std::vector<Place> places;
};

class WatchingPanel : public support::ScriptedPanel {
 public:
  trel_seam::HttpReply Post(const trel_seam::HttpPost& post) override {
    places.emplace_back(post.body);
    return ScriptedPanel::Post(post);
  }
  std::vector<Place> places;
};

class Secrets : public testing::Test {
 protected:
  Secrets() {
    trel_seam::Current().ssh = ssh_;
    trel_seam::Current().http = panel_;
  }

  void ExpectWiped(const std::vector<Place>& places, std::size_t count) const {
    EXPECT_EQ(places.size(), count);
    for (const auto& place : places) EXPECT_FALSE(place.HoldsTheSecret());
  }

  const support::SeamKeeper keeper_;
  std::shared_ptr<WatchingSsh> ssh_ = std::make_shared<WatchingSsh>();
  std::shared_ptr<WatchingPanel> panel_ = std::make_shared<WatchingPanel>();
};

TEST_F(Secrets, OfALoginAreWipedAfterIt) {
  const trel_rpc::SSHpass by_password("src", "root", kSecret, 22);
  ExpectWiped(ssh_->places, 1);
  const trel_rpc::SSHkey by_key("src", "root", kSecret, kSecret, 22);
  ExpectWiped(ssh_->places, 3);
}

TEST_F(Secrets, OfARefusedLoginAreWipedToo) {
  ssh_->refuses = true;
  EXPECT_EQ(ErrorOf([] { trel_rpc::SSHpass("src", "root", kSecret, 22); }),
            "ssh: auth: src (refused)");
  ExpectWiped(ssh_->places, 1);
}

TEST_F(Secrets, OfAQueryAreWipedAfterTheReply) {
  trel_client::Remote("https://src.example/").Query("func=f&auth=" + kSecret);
  trel_client::Local("vortrel", "test").Query("func=f", {{"auth", kSecret}});
  ExpectWiped(panel_->places, 2);
}

TEST_F(Secrets, OfAQueryThatFailsAreWipedToo) {
  panel_->failure = "cut off";
  EXPECT_EQ(ErrorOf([] { trel_client::Remote("https://src/").Query("func=f&auth=?", kSecret); }),
            "remote: query: cut off");
  ExpectWiped(panel_->places, 1);
}

}  // namespace
