// What a password, a key or a query leaves behind in memory once it was used.

#include <gtest/gtest.h>
#include <sys/uio.h>
#include <unistd.h>

#include <array>

#include "support/seam.h"
#include "trel/trel_client.h"
#include "trel/trel_err.h"
#include "trel/trel_rpc.h"

namespace {

using support::ErrorOf;

/// Of a size that nothing else has here: the allocator keeps a freed place of less than a kilobyte
/// for the next text of that size, and changes only its first bytes.
const std::string kSecret = "a-password-or-key-" + std::string(900, 's') + "-its-end";

/// Where a text was.
struct Place {
  const void* at = nullptr;
  std::size_t size = 0;

  explicit Place(const std::string& text) : at(text.data()), size(text.size()) {
    EXPECT_NE(text.find(kSecret), std::string::npos);
  }

  /// Reads by way of the system, which does not mind that the text has ended.
  bool HoldsTheSecret() const {
    // On the stack: a text could be put into the very place that it is to show.
    std::array<char, 1024> bytes{};
    const iovec to{bytes.data(), size};
    const iovec from{const_cast<void*>(at), size};
    EXPECT_EQ(process_vm_readv(getpid(), &to, 1, &from, 1, 0), static_cast<ssize_t>(size));
    return std::string_view(bytes.data(), size)
               .find(std::string_view(kSecret).substr(kSecret.size() / 2)) !=
           std::string_view::npos;
  }
};

/// Remembers where the input of its commands is.
class WatchingConnection : public trel_seam::SshConnection {
 public:
  explicit WatchingConnection(std::vector<Place>& places) : places_(places) {}
  void Start(const std::string&) override {}
  trel_seam::SshOutcome Finish(const std::string& input, bool) override {
    places_.emplace_back(input);
    return {};
  }

 private:
  std::vector<Place>& places_;
};

/// Remembers where the secrets of a login are, and takes it.
class WatchingSsh : public trel_seam::Ssh {
 public:
  std::unique_ptr<trel_seam::SshConnection> Connect(const trel_seam::SshTarget& target) override {
    for (const auto* text : {&target.password, &target.key, &target.passphrase}) {
      if (!text->empty()) places.emplace_back(*text);
    }
    return std::make_unique<WatchingConnection>(places);
  }
  std::vector<Place> places;
};

/// Remembers where the query is, and keeps no copy of it.
class WatchingPanel : public support::ScriptedPanel {
 public:
  trel_seam::HttpReply Post(const trel_seam::HttpPost& post) override {
    places.emplace_back(post.body);
    if (!failure.empty()) throw trel_seam::HttpFailure(failure);
    return reply;
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

TEST_F(Secrets, OfACommandsInputAreWipedAfterIt) {
  trel_rpc::SSHpass source("src", "root", "", 22);
  source.Execute("cat").In() << kSecret;
  source.CloseIn();
  ExpectWiped(ssh_->places, 1);
}

// One query in each test: the texts of a second one could be put into the place of the first.

TEST_F(Secrets, OfAQueryAreWipedAfterTheReply) {
  trel_client::Remote("https://src.example/").Query(kSecret);
  ExpectWiped(panel_->places, 1);
}

TEST_F(Secrets, OfALocalQueryAreWipedAfterTheReply) {
  trel_client::Local("vortrel", "test").Query(kSecret);
  ExpectWiped(panel_->places, 1);
}

TEST_F(Secrets, OfAQueryThatFailsAreWipedToo) {
  panel_->failure = "cut off";
  EXPECT_EQ(ErrorOf([] { trel_client::Remote("https://src/").Query(kSecret); }),
            "remote: query: cut off");
  ExpectWiped(panel_->places, 1);
}

}  // namespace
