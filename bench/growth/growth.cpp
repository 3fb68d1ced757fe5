#include <malloc.h>
#include <cstdio>
#include <cstdlib>

#include <ctime>
#include <exception>
#include <filesystem>
#include <fstream>
#include <functional>
#include <map>
#include <string>

#include "growth/peers.h"
#include "tarvin/tarvin.h"
#include "trel/trel_client.h"
#include "trel/trel_log.h"

extern "C" int vormain(int argc, char** argv);

namespace {

using bench::Account;

/// Objects that are worked through in one measurement, so that few of them are measured as well as
/// many: a small account is moved again and again.
constexpr std::size_t kWork = 10'000;

double Cpu() {
  timespec used{};
  clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &used);
  return static_cast<double>(used.tv_sec) * 1e9 + static_cast<double>(used.tv_nsec);
}

/// The nanoseconds that `body` takes when it is run `count` times.
double Timed(std::size_t count, const std::function<void()>& body) {
  const double begin = Cpu();
  for (std::size_t i = 0; i < count; ++i) body();
  return Cpu() - begin;
}

void WriteFile(const std::string& path, const std::string& text) {
  std::ofstream(path) << text;
}

/// The whole job for `account`, from its entry to its end.
void Move(const Account& account) {
  WriteFile("params", ParametersOf(account, std::filesystem::current_path().string()));
  std::string name = "tarvin", file = "params";
  char* argv[] = {name.data(), file.data(), nullptr};
  if (vormain(2, argv) != 0) throw std::runtime_error("the job has failed");
}

std::size_t Times(std::size_t objects) {
  return std::max<std::size_t>(1, kWork / objects);
}

/// Nanoseconds for each of the `objects` that `full` has and `empty` has not, moved `times` over.
double PerObject(const Account& full, const Account& empty, std::size_t objects,
                 std::size_t times) {
  InstallPeers(empty);
  const double base = Timed(times, [&] { Move(empty); });
  InstallPeers(full);
  return (Timed(times, [&] { Move(full); }) - base) / static_cast<double>(times * objects);
}

double Databases(const std::string& generation, std::size_t size) {
  return PerObject({generation, size, 1, ""}, {generation, 0, 1, ""}, size, Times(size));
}

double Users(const std::string& generation, std::size_t size) {
  // A database without users costs less than its users do not: it is passed over.
  return PerObject({generation, 10, size + 1, ""}, {generation, 10, 1, ""}, size * 10,
                   Times(size * 10));
}

/// Read once: the memory that a large one needs is new to a job.
double Passwd(std::size_t size, std::size_t stride) {
  std::string passwd = "mover:x:1000:1000::/home/mover:/bin/bash\n";
  for (std::size_t i = 0; i < size; ++i) {
    const auto number = std::to_string(1'000'000 + i * stride % size);
    passwd += "user" + number + ":x:" + number + ":" + number + ":A User,,,:/home/user" + number +
              ":/bin/bash\n";
  }
  const Account lonely{"4", 0, 0, passwd.substr(0, passwd.find('\n') + 1)};
  InstallPeers(lonely);
  Move(lonely);
  return PerObject({"4", 0, 0, passwd}, lonely, size, 1);
}

/// Answers every query with one list.
class ListPanel : public trel_seam::Http {
 public:
  explicit ListPanel(std::size_t size) : list_(bench::ListOfSize(size)) {}
  trel_seam::HttpReply Post(const trel_seam::HttpPost&) override { return {200, list_}; }
  int Get(const std::string&, int, const std::function<void(std::string_view)>&) override {
    return 404;
  }
  std::size_t size() const { return list_.size(); }

 private:
  const std::string list_;
};

/// For each byte of a list that is read once, each element's name looked at.
double Reply(std::size_t size) {
  const auto read = [] {
    const trel_client::Remote panel("https://src.example:1500/");
    for (const auto& element : panel.Query("func=db").elems()) {
      if (element.FindNode("name").Str().empty()) throw std::runtime_error("a nameless element");
    }
  };
  // A first reply, so that what any first one costs is left out.
  trel_seam::Current().http = std::make_shared<ListPanel>(1);
  read();
  const auto panel = std::make_shared<ListPanel>(size);
  trel_seam::Current().http = panel;
  malloc_trim(0);
  return Timed(1, read) / static_cast<double>(panel->size());
}

/// Nanoseconds for reading a parameters file of `size` lines, `times` over.
double ReadParameters(std::size_t size, std::size_t times) {
  std::string text;
  for (std::size_t i = 0; i < size; ++i)
    text += "parameter" + std::to_string(1'000'000 + i) + " = a value of some length\n";
  WriteFile("params", text);
  return Timed(times, [] {
    StringMap params;
    tarvin::BinParams("growth").Get("params", params);
  });
}

double Parameters(std::size_t size) {
  trel_log::Init("growth", 9);
  const std::size_t times = Times(size);
  const double base = ReadParameters(0, times);
  return (ReadParameters(size, times) - base) / static_cast<double>(times * size);
}

const std::map<std::string, std::function<double(std::size_t)>> kRows{
    {"databases4", [](std::size_t size) { return Databases("4", size); }},
    {"databases5", [](std::size_t size) { return Databases("5", size); }},
    {"users4", [](std::size_t size) { return Users("4", size); }},
    {"users5", [](std::size_t size) { return Users("5", size); }},
    {"passwd", [](std::size_t size) { return Passwd(size, 1); }},
    // A prime number that no size is a multiple of: names in no order.
    {"passwd_mixed", [](std::size_t size) { return Passwd(size, 7919); }},
    {"reply", Reply},
    {"parameters", Parameters},
};

}  // namespace

/// growth ROW SIZE: prints the CPU time of one object in nanoseconds. The working directory takes
/// the files that the job makes.
int main(int argc, char** argv) try {
  if (argc != 3 || kRows.count(argv[1]) == 0) {
    std::fputs("usage: growth ROW SIZE\n", stderr);
    return 2;
  }
  std::printf("%.2f\n", kRows.at(argv[1])(std::strtoull(argv[2], nullptr, 10)));
  return 0;
} catch (const std::exception& error) {
  std::fprintf(stderr, "growth: %s\n", error.what());
  return 1;
}
