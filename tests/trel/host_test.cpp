#include <gtest/gtest.h>
#include <pwd.h>
#include <unistd.h>

#include <ctime>

#include "support/scratch.h"
#include "support/seam.h"
#include "trel/trel_env.h"
#include "trel/trel_user.h"

namespace {

using support::ErrorOf;

class HostTest : public testing::Test {
 protected:
  HostTest() { trel_seam::Current().host = host_; }

  support::SeamKeeper keeper_;
  std::shared_ptr<support::ScriptedHost> host_ = std::make_shared<support::ScriptedHost>();
};

TEST_F(HostTest, TellsCloudLinuxFromEveryOtherLinux) {
  constexpr int kLinux = 0x20100;
  constexpr int kCloudLinux = 0x20104;
  const std::map<std::string, int> rows{
      {"ID=cloudlinux\n", kCloudLinux},
      {"NAME=CloudLinux\nID=\"cloudlinux\"\nVERSION_ID=\"8\"\n", kCloudLinux},
      {"ID='cloudlinux'", kCloudLinux},
      {"ID=debian\n", kLinux},
      {"ID=debian\nID_LIKE=cloudlinux\nVARIANT_ID=cloudlinux\n", kLinux},
      {"#ID=cloudlinux\nID=almalinux\n", kLinux},
      {"ID=cloudlinux2\n", kLinux},
      {"ID=cloudlinux~\n", kLinux},
      {"ID=\n", kLinux},
      {"", kLinux},
  };
  for (const auto& [text, type] : rows) {
    host_->os_release = text;
    EXPECT_EQ(trel_env::GetOsType(), type) << text;
  }
}

TEST_F(HostTest, TellsTheHomeOfAnAccount) {
  host_->homes["bob"] = "/home/bob";
  EXPECT_EQ(trel_user::GetHome("bob"), "/home/bob");
}

TEST_F(HostTest, RefusesAnAccountThatIsNotThere) {
  EXPECT_EQ(ErrorOf([] { trel_user::GetHome("bob"); }),
            "missed: user: bob (there is no user 'bob' on this host)");
}

TEST(LinuxHost, ReadsTheAccountsOfThisMachine) {
  const auto host = trel_seam::MakeHost();
  EXPECT_EQ(host->HomeOf("root"), getpwuid(0)->pw_dir);
  EXPECT_EQ(host->HomeOf("no-such-account"), std::nullopt);
  EXPECT_EQ(host->HomeOf(""), std::nullopt);
}

TEST(LinuxHost, TellsTheTime) {
  // What time() says may be behind the clock.
  const auto microseconds = [] {
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    return now.tv_sec * 1'000'000 + now.tv_nsec / 1000;
  };
  const auto before = microseconds();
  const auto now = trel_seam::MakeHost()->Now();
  EXPECT_GE(now, before);
  EXPECT_LE(now, microseconds());
}

TEST(LinuxHost, ReadsWhatSystemItIs) {
  EXPECT_EQ(trel_seam::MakeHost()->OsRelease(), support::ReadFile("/etc/os-release"));
}

}  // namespace
