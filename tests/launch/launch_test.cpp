#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>

#include "support/forked.h"
#include "support/scratch.h"
#include "trel/trel_proc.h"

namespace {

namespace fs = std::filesystem;

using Strings = std::vector<std::string>;

struct Outcome {
  int status = 0;
  std::string output;
  std::string errors;
};

Outcome RunLauncher(const Strings& arguments, const std::string& launcher = VORLAUNCH) {
  Strings command{"/bin/sh", "-c", "errors=$1; shift; exec \"$@\" 2>\"$errors\"", "sh"};
  const support::Scratch scratch;
  command.push_back(scratch.Path("errors"));
  command.push_back(launcher);
  command.insert(command.end(), arguments.begin(), arguments.end());
  trel_proc::Execute child(command, trel_proc::Execute::kCaptureOutput);
  const auto output = child.Str();
  return {child.Result(), output, support::ReadFile(scratch.Path("errors"))};
}

std::string Job(const std::string& name) {
  return JOBS + name + ".so";
}

void ExpectRefused(const Outcome& outcome, int status, const std::string& line) {
  EXPECT_EQ(outcome.status, status);
  EXPECT_EQ(outcome.output, "");
  EXPECT_EQ(outcome.errors, line + "\n");
}

TEST(Launcher, PassesTheArgumentsOn) {
  const auto outcome = RunLauncher({Job("echo"), "a b", "", "--help"});
  EXPECT_EQ(outcome.output, Job("echo") + "\na b\n\n--help\nend\n");
  EXPECT_EQ(outcome.errors, "");
}

TEST(Launcher, PassesTheStatusOn) {
  EXPECT_EQ(RunLauncher({Job("echo")}).status, 1);
  EXPECT_EQ(RunLauncher({Job("echo"), "2", "3", "4"}).status, 4);
  EXPECT_EQ(RunLauncher({Job("settings")}).status, 0);
}

TEST(Launcher, FindsABareNameBesideItself) {
  const support::Scratch scratch;
  for (const auto& folder : {"bin", "lib"}) fs::create_directory(scratch.Path(folder));
  fs::copy_file(VORLAUNCH, scratch.Path("bin/vorlaunch"));
  fs::copy_file(Job("echo"), scratch.Path("lib/small.so"));
  fs::create_symlink(LIBTREL, scratch.Path("lib/libtrel.so"));
  const auto outcome = RunLauncher({"small", "x"}, scratch.Path("bin/vorlaunch"));
  EXPECT_EQ(outcome.status, 2) << outcome.errors;
  EXPECT_EQ(outcome.output, "small\nx\nend\n");
  fs::create_symlink(scratch.Path("bin/vorlaunch"), scratch.Path("link"));
  EXPECT_EQ(RunLauncher({"small"}, scratch.Path("link")).status, 1);
}

TEST(Launcher, TakesAPathAsItStands) {
  const support::Scratch scratch;
  fs::copy_file(Job("echo"), scratch.Path("small"));
  EXPECT_EQ(RunLauncher({scratch.Path("small")}).status, 1);
  EXPECT_EQ(RunLauncher({"./small"}).status, 127);
}

TEST(Launcher, WantsAJob) {
  ExpectRefused(RunLauncher({}), 2, "vorlaunch: usage: vorlaunch JOB [ARG...]");
}

TEST(Launcher, NamesAJobThatCannotBeLoaded) {
  const auto bare = RunLauncher({"no-such-job"});
  const auto file = fs::path(VORLAUNCH).parent_path().parent_path() / "lib/no-such-job.so";
  ExpectRefused(bare, 127,
                "vorlaunch: no-such-job: " + file.string() +
                    ": cannot open shared object file: No such file or directory");
  const support::Scratch scratch;
  const auto text = scratch.Write("text.so", "no shared object");
  ExpectRefused(RunLauncher({text}), 127, "vorlaunch: " + text + ": " + text + ": file too short");
}

TEST(Launcher, NamesAJobWithoutAnEntry) {
  ExpectRefused(
      RunLauncher({Job("no_entry")}), 127,
      "vorlaunch: " + Job("no_entry") + ": " + Job("no_entry") + ": undefined symbol: vormain");
}

TEST(Launcher, PrintsAnErrorThatLeavesTheJobAsOneLine) {
  ExpectRefused(RunLauncher({Job("throws_lines")}), 1,
                "vorlaunch: " + Job("throws_lines") + ": first second");
  ExpectRefused(RunLauncher({Job("throws_int")}), 1,
                "vorlaunch: " + Job("throws_int") + ": an unknown error");
}

TEST(Launcher, ForbidsDumpsKeepsFilesToTheirOwnerAndWaitsForChildren) {
  constexpr char kSettings[] = "core 0 0\ndumpable 0\numask 077\nchildren waited for\n";
  EXPECT_EQ(RunLauncher({Job("settings")}).output, kSettings);
  const auto ignored =
      RunLauncher({"--ignore-signal=CHLD", VORLAUNCH, Job("settings")}, "/usr/bin/env");
  EXPECT_EQ(ignored.output, kSettings);
}

TEST(Launcher, WipesWhatTheJobFrees) {
  EXPECT_EQ(RunLauncher({Job("frees"), "a secret that fills more than a text's own room"}).output,
            "in a text: found\nbehind a text that grew: gone\n"
            "in a document: found\nbehind a document: gone\n");
}

TEST(Launcher, LetsAJobThatIsToldToEndCleanUp) {
  for (const int signal : {SIGTERM, SIGINT, SIGHUP}) {
    EXPECT_EQ(RunLauncher({Job("own_end"), std::to_string(signal)}).status, 127) << signal;
  }
  const auto hang_up = std::to_string(SIGHUP);
  EXPECT_EQ(RunLauncher({VORLAUNCH, Job("own_end"), hang_up}, "nohup").status, 3);
}

}  // namespace
