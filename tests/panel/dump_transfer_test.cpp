#include "panel/dbserver/dump_transfer.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <fstream>

#include "panel/error.h"
#include "temp_dir.h"

namespace panel::dbserver {
namespace {

ClientCommand Shell(const std::string& script) {
  return {{"sh", "-c", script}, {"SECRET=s"}, {}};
}

std::string MessageOf(const std::function<void()>& action) {
  try {
    action();
    return "";
  } catch (const Error& error) {
    EXPECT_EQ(error.type(), "system");
    return error.what();
  }
}

std::string ReadAll(DumpStream& dump) {
  std::string text;
  std::array<char, 1000> buffer{};
  while (const std::size_t size = dump.Read(buffer)) {
    text.append(buffer.data(), size);
  }
  return text;
}

// Changes nothing.
class NoFilter : public DumpFilter {
 public:
  std::string Feed(std::string_view bytes) override { return std::string(bytes); }
  std::string End() override { return "end"; }
};

class DumpFile : public testing::Test {
 protected:
  Descriptor Write(const std::string& text) {
    std::ofstream(path_) << text;
    return Descriptor(open(path_.c_str(), O_RDONLY | O_CLOEXEC));
  }

  bool Whole(const std::string& text) {
    const std::string message =
        MessageOf([&] { RequireWhole(Write(text).get(), kMariadbDumpEnd); });
    EXPECT_TRUE(message.empty() || message.find(kMariadbDumpEnd) != std::string::npos);
    return message.empty();
  }

  TempDir dir_;
  std::string path_ = dir_.path() / "dump";
  std::string out_ = dir_.path() / "out";
};

TEST_F(DumpFile, IsWholeWhenItEndsWithItsLastLine) {
  EXPECT_TRUE(Whole("a;\n-- Dump completed on 2026-01-01\n"));
  EXPECT_TRUE(Whole("-- Dump completed"));
  EXPECT_TRUE(Whole(std::string(100000, 'x') + "\n-- Dump completed\n\n--\n\\unrestrict abc\n\n"));
  EXPECT_FALSE(Whole(""));
  EXPECT_FALSE(Whole("a;\n"));
  EXPECT_FALSE(Whole("a;\n-- Dump complete"));
  EXPECT_FALSE(Whole("a; -- Dump completed\n"));
  EXPECT_FALSE(Whole("-- Dump completed\na;\n"));
  EXPECT_FALSE(Whole("-- Dump completed\n" + std::string(100000, ' ')));
}

TEST_F(DumpFile, ThatCannotBeReadIsAnError) {
  const Descriptor directory(open(dir_.path().c_str(), O_RDONLY | O_CLOEXEC));
  EXPECT_EQ(MessageOf([&] { RequireWhole(directory.get(), "x"); }),
            "reading the dump: Is a directory");
  EXPECT_EQ(MessageOf([] { RequireWhole(-1, "x"); }), "reading the dump: Bad file descriptor");
}

TEST_F(DumpFile, GoesThroughTheFilterToTheClientFromItsBeginning) {
  const std::string text(1000000, 'x');
  const Descriptor file = Write(text);
  std::array<char, 10> read_before{};
  ASSERT_EQ(read(file.get(), read_before.data(), read_before.size()), 10);
  NoFilter filter;
  Transfer(file.get(), filter, Shell("cat >" + out_), "restore");
  std::ifstream out(out_);
  EXPECT_TRUE(std::string(std::istreambuf_iterator<char>(out), {}) == text + "end");
}

TEST_F(DumpFile, ThatTheClientDoesNotReadToItsEndIsAnError) {
  const Descriptor file = Write(std::string(5000000, 'x'));
  NoFilter filter;
  EXPECT_EQ(MessageOf([&] { Transfer(file.get(), filter, Shell("exit 0"), "restore"); }),
            "restore: the client stopped before the end of the dump");
  EXPECT_EQ(MessageOf([&] {
              Transfer(file.get(), filter, Shell("echo 'no room' >&2; exit 3"), "restore");
            }),
            "restore: sh ended with status 3: no room");
}

TEST(DumpStream, GivesWhatTheProgramWritesAndThenTheEnd) {
  const auto dump = StartDump(Shell("head -c 3000 /dev/zero; echo end"), "dump");
  EXPECT_EQ(ReadAll(*dump), std::string(3000, '\0') + "end\n");
  std::array<char, 1> buffer{};
  EXPECT_EQ(dump->Read(buffer), 0U);
}

TEST(DumpStream, ThatBreaksOffIsAnErrorAndNoEnd) {
  EXPECT_EQ(
      MessageOf([] { ReadAll(*StartDump(Shell("echo part; echo why >&2; exit 2"), "dump")); }),
      "dump: sh ended with status 2: why");
  EXPECT_EQ(MessageOf([] { ReadAll(*StartDump(Shell("echo part; kill -KILL $$"), "dump")); }),
            "dump: sh ended by signal 9: ");
  EXPECT_EQ(MessageOf([] {
              ReadAll(*StartDump({{"no-such-program"}, {}, {}}, "dump"));
            }),
            "dump: no-such-program ended with status 127: setpriv: failed to execute "
            "no-such-program: No such file or directory");
}

TEST(DumpStream, TellsTheLastOfManyWords) {
  const std::string message = MessageOf([] {
    ReadAll(*StartDump(Shell("head -c 1000000 /dev/zero | tr '\\0' x >&2; echo last >&2; exit 1"),
                       "dump"));
  });
  EXPECT_TRUE(message.ends_with("xlast"));
  EXPECT_LT(message.size(), 20000U);
}

TEST(DumpStream, EndsItsProgramWhenItGoes) {
  std::array<char, 20> buffer{};
  pid_t pid = 0;
  {
    const auto dump = StartDump(Shell("echo $$; exec sleep 600"), "dump");
    const std::size_t size = dump->Read(buffer);
    pid = std::stoi(std::string(buffer.data(), size));
    EXPECT_EQ(kill(pid, 0), 0);
  }
  EXPECT_EQ(kill(pid, 0), -1);
  EXPECT_EQ(errno, ESRCH);
}

TEST(DumpStream, GivesTheProgramNothingOfOurs) {
  setenv("OURS", "x", 1);
  const Descriptor open_here(open("/dev/null", O_RDONLY));
  ASSERT_TRUE(open_here);
  const auto dump = StartDump(Shell("test -e /proc/$$/fd/0 && echo input; test -e /proc/$$/fd/" +
                                    std::to_string(open_here.get()) +
                                    " && echo ours; echo $OURS; env | cut -d= -f1 | sort"),
                              "dump");
  EXPECT_EQ(ReadAll(*dump), "input\n\nLC_ALL\nPATH\nPWD\nSECRET\n");
}

}  // namespace
}  // namespace panel::dbserver
