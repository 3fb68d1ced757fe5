#include <ctime>
#include <cstdio>
#include <cstdlib>
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

/// Nanoseconds for each of the `objects` that `full` has and `empty` has not.
double PerObject(const Account& full, const Account& empty, std::size_t objects) {
  const std::size_t times = std::max<std::size_t>(1, kWork / objects);
  InstallPeers(empty);
  const double base = Timed(times, [&] { Move(empty); });
  InstallPeers(full);
  return (Timed(times, [&] { Move(full); }) - base) / static_cast<double>(times * objects);
}

double Databases(const std::string& generation, std::size_t size) {
  return PerObject({generation, size, 1, ""}, {generation, 0, 1, ""}, size);
}

double Users(const std::string& generation, std::size_t size) {
  return PerObject({generation, 10, size, ""}, {generation, 10, 0, ""}, size * 10);
}

double Passwd(std::size_t size) {
  std::string passwd = "mover:x:1000:1000::/home/mover:/bin/bash\n";
  for (std::size_t i = 0; i < size; ++i) {
    const auto number = std::to_string(1'000'000 + i * 7919 % size);
    passwd += "user" + number + ":x:" + number + ":" + number + ":A User,,,:/home/user" + number +
              ":/bin/bash\n";
  }
  return PerObject({"4", 0, 0, passwd}, {"4", 0, 0, passwd.substr(0, passwd.find('\n') + 1)}, size);
}

/// For each byte of a list: read, and every element's name looked at.
double Reply(std::size_t size) {
  trel_log::Init("growth", 9);
  auto& seam = trel_seam::Current();
  class OneAnswer : public trel_seam::Http {
   public:
    explicit OneAnswer(std::size_t size) : answer(bench::ListOfSize(size)) {}
    trel_seam::HttpReply Post(const trel_seam::HttpPost&) override { return {200, answer}; }
    int Get(const std::string&, int, const std::function<void(std::string_view)>&) override {
      return 404;
    }
    const std::string answer;
  };
  const auto peer = std::make_shared<OneAnswer>(size);
  seam.http = peer;
  const trel_client::Remote panel("https://src.example:1500/");
  std::size_t letters = 0;
  constexpr std::size_t kBytes = 20'000'000;
  const std::size_t times = std::max<std::size_t>(1, kBytes / peer->answer.size());
  const double time = Timed(times, [&] {
    for (const auto& element : panel.Query("func=db").elems())
      letters += element.FindNode("name").Str().size();
  });
  if (letters == 0) throw std::runtime_error("the list is empty");
  return time / static_cast<double>(times * peer->answer.size());
}

double Parameters(std::size_t size) {
  trel_log::Init("growth", 9);
  std::string text;
  for (std::size_t i = 0; i < size; ++i)
    text += "parameter" + std::to_string(1'000'000 + i * 7919 % size) + " = a value of some length\n";
  WriteFile("params", text);
  const std::size_t times = std::max<std::size_t>(1, kWork / size);
  return Timed(times, [] {
           StringMap params;
           tarvin::BinParams("growth").Get("params", params);
         }) /
         static_cast<double>(times * size);
}

const std::map<std::string, std::function<double(std::size_t)>> kRows{
    {"databases4", [](std::size_t size) { return Databases("4", size); }},
    {"databases5", [](std::size_t size) { return Databases("5", size); }},
    {"users4", [](std::size_t size) { return Users("4", size); }},
    {"users5", [](std::size_t size) { return Users("5", size); }},
    {"passwd", Passwd},
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
