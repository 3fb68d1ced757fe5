#include "seam/conf.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>

#include "support/forked.h"
#include "support/scratch.h"
#include "support/seam.h"

namespace {

using support::ErrorOf;
using support::HoldsWhenForked;
using trel_seam::Conf;
using trel_seam::ReadConf;

constexpr char kPin[] = "sha256//AAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAA=";

class ConfTest : public testing::Test {
 protected:
  ConfTest() { setenv("TREL_CONF", file_.c_str(), 1); }
  ~ConfTest() override { unsetenv("TREL_CONF"); }

  Conf Read(const std::string& text) const {
    scratch_.Write("trel.toml", text);
    return ReadConf();
  }
  std::string Refusal(const std::string& text) const {
    return ErrorOf([&] { Read(text); });
  }
  /// What a bad value at `place`, such as "3: log.dir", says.
  std::string Says(const std::string& place, const std::string& why) const {
    const auto full = file_ + ":" + place;
    return "conf: read: " + full + " (" + full + ": " + why + ")";
  }

  support::Scratch scratch_;
  std::string file_ = scratch_.Path("trel.toml");
};

void ExpectDefaults(const Conf& conf) {
  EXPECT_EQ(conf.local_socket, "/run/vortrel/panel.sock");
  EXPECT_EQ(conf.log_dir, "/var/log/vortrel");
  EXPECT_EQ(conf.ca_file, "");
  EXPECT_TRUE(conf.pins.empty());
  EXPECT_EQ(conf.known_hosts, "/var/lib/vortrel/known_hosts");
  EXPECT_FALSE(conf.strict_host_keys);
}

TEST_F(ConfTest, AnEmptyFileLeavesTheDefaults) {
  ExpectDefaults(Read(""));
  ExpectDefaults(Read("# nothing\n[local]\n[log]\n[tls]\n[ssh]\n"));
}

TEST_F(ConfTest, AMissingDefaultFileLeavesTheDefaults) {
  if (std::filesystem::exists("/etc/vortrel/trel.toml")) GTEST_SKIP() << "this host has its own";
  unsetenv("TREL_CONF");
  ExpectDefaults(ReadConf());
}

TEST_F(ConfTest, AMissingNamedFileIsAnError) {
  EXPECT_EQ(ErrorOf([] { ReadConf(); }),
            "conf: read: " + file_ + " (" + file_ + ": " + file_ + ": No such file or directory)");
}

TEST_F(ConfTest, EveryValueIsRead) {
  const auto conf = Read(std::string("[local]\nsocket = '/run/p.sock'\n[log]\ndir = \"/l\"\n") +
                         "[tls]\nca_file = '/ca.pem'\npins = { 'src.example:1500' = '" + kPin +
                         "' }\n[ssh]\nknown_hosts = '/k'\nhost_keys = 'strict'\n");
  EXPECT_EQ(conf.local_socket, "/run/p.sock");
  EXPECT_EQ(conf.log_dir, "/l");
  EXPECT_EQ(conf.ca_file, "/ca.pem");
  EXPECT_EQ(conf.pins, (StringMap{{"src.example:1500", kPin}}));
  EXPECT_EQ(conf.known_hosts, "/k");
  EXPECT_TRUE(conf.strict_host_keys);
}

TEST_F(ConfTest, TheDefaultsMayBeWrittenOut) {
  ExpectDefaults(Read("[tls]\nca_file = ''\npins = {}\n[ssh]\nhost_keys = 'accept-new'\n"));
}

TEST_F(ConfTest, PinsMayBeASectionOfTheirOwn) {
  const auto conf = Read(std::string("[tls.pins]\n'[fd00:99::1]:1500' = '") + kPin + "'\n");
  EXPECT_EQ(conf.pins, (StringMap{{"[fd00:99::1]:1500", kPin}}));
}

TEST_F(ConfTest, UnknownKeysAreNamedWithTheirLine) {
  EXPECT_EQ(Refusal("[log]\n\ndirectory = '/x'\n"), Says("3: log.directory", "unknown key"));
  EXPECT_EQ(Refusal("\n[logs]\n"), Says("2: logs", "unknown key"));
  EXPECT_EQ(Refusal("[logs]\ndir = '/x'\n"), Says("1: logs", "unknown key"));
  EXPECT_EQ(Refusal("socket = '/x'\n"), Says("1: socket", "unknown key"));
  EXPECT_EQ(Refusal("[log]\n'x.dir' = '/x'\n"), Says("2: log.x.dir", "unknown key"));
}

TEST_F(ConfTest, ValuesOfTheWrongKindAreNamedWithTheirLine) {
  EXPECT_EQ(Refusal("[local]\nsocket = 5\n"), Says("2: local.socket", "not a text"));
  EXPECT_EQ(Refusal("[tls]\nca_file = true\n"), Says("2: tls.ca_file", "not a text"));
  EXPECT_EQ(Refusal("[tls]\npins = 'x'\n"), Says("2: tls.pins", "not a table"));
  EXPECT_EQ(Refusal("log = '/var/log'\n"), Says("1: log", "not a table"));
  EXPECT_EQ(Refusal("[ssh]\nhost_keys = []\n"), Says("2: ssh.host_keys", "not a text"));
}

TEST_F(ConfTest, BadValuesAreNamedWithTheirLine) {
  EXPECT_EQ(Refusal("[ssh]\nhost_keys = 'no'\n"),
            Says("2: ssh.host_keys", "neither \"accept-new\" nor \"strict\""));
  for (const std::string key : {"local.socket", "log.dir", "tls.ca_file", "ssh.known_hosts"}) {
    EXPECT_EQ(Refusal(key + " = 'relative'\n"), Says("1: " + key, "not an absolute path"));
  }
  EXPECT_EQ(Refusal("log.dir = ''\n"), Says("1: log.dir", "not an absolute path"));
}

TEST_F(ConfTest, PinsThatNeverMatchAreNamedWithTheirLine) {
  const auto refusal = [this](const std::string& place, const std::string& pin) {
    return Refusal("[tls.pins]\n\n'" + place + "' = '" + pin + "'\n");
  };
  for (const std::string place : {"src.example", "src.example:", "src.example:x", ""}) {
    EXPECT_EQ(refusal(place, kPin), Says("3: tls.pins." + place, "not named \"host:port\""));
  }
  for (const std::string pin : {"", "sha256//", "sha256//AAAA", "md5//AAAA", "sha256//not base64",
                                "AAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAA="}) {
    EXPECT_EQ(refusal("a:1", pin),
              Says("3: tls.pins.a:1", "not \"sha256//\" and the hash of a key in base64"));
  }
}

TEST_F(ConfTest, ATextThatIsNoTomlIsNamedWithItsLine) {
  const std::map<std::string, std::string> rows{
      {"[log]\ndir = \n", "2 (expected value, saw '\\n')"},
      {"[log\n", "1 (expected ']', saw '\\n')"},
      {"[log]\ndir = '/a'\ndir = '/b'\n", "3 (cannot redefine existing string 'dir')"},
      {"[log]\ndir = '/x\xFF'\n", "2 (Encountered invalid utf-8 sequence)"},
      {"\x01", "1 (expected keys, tables, whitespace or comments, saw '\\u0001')"},
      {"a = [1,", "1 (encountered end-of-file)"},
  };
  for (const auto& [text, why] : rows) {
    const auto refusal = Refusal(text);
    const auto line = why.substr(0, 1);
    EXPECT_THAT(refusal, testing::StartsWith("conf: read: " + file_ + ":" + line + " (")) << text;
    EXPECT_THAT(refusal, testing::EndsWith(why.substr(3))) << text;
  }
}

TEST_F(ConfTest, TheProcessReadsItOnceAndKeepsIt) {
  EXPECT_TRUE(HoldsWhenForked([&] {
    scratch_.Write("trel.toml", "log.dir = 'relative'\n");
    EXPECT_NE(ErrorOf([] { trel_seam::Configuration(); }), "nothing thrown");
    scratch_.Write("trel.toml", "log.dir = '/first'\n");
    EXPECT_EQ(trel_seam::Configuration().log_dir, "/first");
    scratch_.Write("trel.toml", "log.dir = '/second'\n");
    EXPECT_EQ(trel_seam::Configuration().log_dir, "/first");
  }));
}

}  // namespace
