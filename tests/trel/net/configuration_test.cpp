#include <gtest/gtest.h>

#include <cstdlib>

#include "seam/conf.h"
#include "seam/seam.h"
#include "trel/trel_err.h"

namespace net_test {
namespace {

/// True when `action` fails because of the process's configuration.
template <typename Action>
bool MeetsBadConfiguration(const Action& action) {
  try {
    action();
  } catch (const trel_err::Error& error) {
    return error.type() == "conf";
  } catch (const std::runtime_error&) {
  }
  return false;
}

/// Ends this process, with 0 when only the bodies without a configuration of their own need that of
/// the process, which cannot be read.
[[noreturn]] void UseBothKinds() {
  setenv("TREL_CONF", "/none/trel.toml", 1);
  trel_seam::HttpPost form;
  form.url = "http://nowhere.invalid/";
  const auto post = [&](trel_seam::Http& http) { http.Post(form); };
  const auto connect = [](trel_seam::Ssh& ssh) { ssh.Connect({}); };
  const bool process = MeetsBadConfiguration([&] { post(*trel_seam::MakeHttp()); }) &&
                       MeetsBadConfiguration([&] { connect(*trel_seam::MakeSsh()); });
  const bool own = MeetsBadConfiguration([&] { post(*trel_seam::MakeHttp({})); }) ||
                   MeetsBadConfiguration([&] { connect(*trel_seam::MakeSsh({})); });
  std::_Exit(process && !own ? 0 : 1);
}

TEST(ConfigurationDeathTest, IsThatOfTheProcessUnlessAnotherIsGiven) {
  // Each process reads its configuration once: this test goes on in one that was just started.
  testing::FLAGS_gtest_death_test_style = "threadsafe";
  EXPECT_EXIT(UseBothKinds(), testing::ExitedWithCode(0), "");
}

}  // namespace
}  // namespace net_test
