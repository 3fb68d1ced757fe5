#include <benchmark/benchmark.h>

#include <string>

#include "growth/peers.h"
#include "micro/allocations.h"
#include "tarvin/log.h"
#include "tarvin/tarvin.h"
#include "trel/str.h"
#include "trel/trel_client.h"
#include "trel/trel_log.h"
#include "trel/trel_xml.h"

namespace {

using benchmark::State;

const trel_log::Module log_module("tarvin", "vortrel");
constexpr char kSource[] = "bench/micro";

/// Tells how many allocations each turn of a benchmark made.
class CountAllocations {
 public:
  explicit CountAllocations(State& state) : state_(state), before_(bench::Allocations()) {}
  ~CountAllocations() {
    const auto made = static_cast<double>(bench::Allocations() - before_);
    state_.counters["allocations"] = made / static_cast<double>(state_.iterations());
  }

 private:
  State& state_;
  std::size_t before_;
};

template <class Body>
void Measure(State& state, const Body& body) {
  const CountAllocations counted(state);
  for (auto _ : state) body();
}

const std::string kLine = "user1000001:x:1000:1000:A User,,,:/home/user1000001:/bin/bash";

void CutWords(State& state) {
  Measure(state, [] {
    std::string rest = kLine;
    while (!rest.empty()) benchmark::DoNotOptimize(str::GetWord(rest, ':'));
  });
}
BENCHMARK(CutWords);

void CutBlanks(State& state) {
  Measure(state, [] {
    std::string rest = "Linux src 6.1.0-18-amd64 x86_64 GNU/Linux";
    while (!rest.empty()) benchmark::DoNotOptimize(str::GetWord(rest));
  });
}
BENCHMARK(CutBlanks);

void CutParameter(State& state) {
  Measure(state, [] {
    std::string rest = "remotehomedir = /home/user1000001";
    benchmark::DoNotOptimize(str::GetWord(rest, " = "));
    benchmark::DoNotOptimize(rest);
  });
}
BENCHMARK(CutParameter);

void EncodePlain(State& state) {
  Measure(state, [] { benchmark::DoNotOptimize(str::url::Encode("mover_d1000001-user")); });
}
BENCHMARK(EncodePlain);

void EncodeOdd(State& state) {
  const std::string text = "*0D3CED9BEC10A777AEC23CCC353A8C08A633045E & 50% of /var/www->x";
  Measure(state, [&] { benchmark::DoNotOptimize(str::url::Encode(text)); });
}
BENCHMARK(EncodeOdd);

void BuildQuery(State& state) {
  const StringMap params{{"sok", "ok"},     {"su", "mover"},       {"server", "mysql"},
                         {"name", "shop"},  {"type", "db"},        {"path", "/var/www/mover/dump"},
                         {"select", "on"},  {"insert", "on"},      {"update", "on"},
                         {"username", "u"}, {"password", "*0D3C"}, {"plid", "shop->mysql"}};
  Measure(state, [&] { benchmark::DoNotOptimize(tarvin::JoinParams(params)); });
}
BENCHMARK(BuildQuery);

void SubstituteParameters(State& state) {
  Measure(state, [] {
    benchmark::DoNotOptimize(
        tarvin::SubstParams("func=db.users.edit&elid=?&plid=?&auth=?", "user", "shop->mysql", "k"));
  });
}
BENCHMARK(SubstituteParameters);

void ParseForm(State& state) {
  const auto form = bench::UserForm();
  Measure(state, [&] { benchmark::DoNotOptimize(trel_xml::Xml::Parse(form)); });
  state.SetBytesProcessed(static_cast<std::int64_t>(form.size()) * state.iterations());
}
BENCHMARK(ParseForm);

void ParseList(State& state) {
  const auto list = bench::ListOfSize(100'000);
  Measure(state, [&] { benchmark::DoNotOptimize(trel_xml::Xml::Parse(list)); });
  state.SetBytesProcessed(static_cast<std::int64_t>(list.size()) * state.iterations());
}
BENCHMARK(ParseList);

void FindInList(State& state) {
  const auto list = trel_xml::Xml::Parse(bench::ListOfSize(100'000));
  Measure(state, [&] {
    benchmark::DoNotOptimize(
        list.GetNodes("/doc/elem[server='mysql' and owner='mover' or name='x']"));
  });
}
BENCHMARK(FindInList);

void AskForSelect(State& state) {
  const auto form = trel_xml::Xml::Parse(bench::UserForm());
  Measure(state, [&] { benchmark::DoNotOptimize(tarvin::IsMultiselect(form, "password")); });
}
BENCHMARK(AskForSelect);

/// One user's form, fetched from a scripted panel and put into the list.
void DetalizeUser(State& state) {
  bench::InstallPeers({"5", 1, 1, ""});
  Measure(state, [] {
    const auto list = trel_xml::Xml::Parse("<doc><elem><name>mover_u</name></elem></doc>");
    tarvin::Detalize("https://src.example/", "key", "db.users.edit", "name",
                     list.GetNodes("/doc/elem"));
  });
}
BENCHMARK(DetalizeUser);

void FillParameters(State& state) {
  const auto form = trel_xml::Xml::Parse(bench::UserForm());
  Measure(state, [&] {
    StringMap params;
    tarvin::FillParamsMap(form.GetRoot(), params, "plid,elid,name,username", false);
    benchmark::DoNotOptimize(params);
  });
}
BENCHMARK(FillParameters);

/// Level 9 is below what is let through here: nothing of the line may be made.
void SuppressedLine(State& state) {
  trel_log::Init("micro", 5);
  const std::string name = "shop";
  Measure(state, [&] {
    TARVIN_LOG(9, "%s:%d checking db users for database '%s'", TARVIN_PLACE, name.c_str());
  });
}
BENCHMARK(SuppressedLine);

void WrittenLine(State& state) {
  trel_log::Init("micro", 9);
  const std::string name = "shop";
  Measure(state, [&] {
    TARVIN_LOG(9, "%s:%d checking db users for database '%s'", TARVIN_PLACE, name.c_str());
  });
}
BENCHMARK(WrittenLine);

/// A whole reply of a hundred thousand bytes, a line feed in each forty.
void WrittenReply(State& state) {
  trel_log::Init("micro", 9);
  const auto list = trel_xml::Xml::Parse(bench::ListOfSize(100'000));
  Measure(state, [&] {
    TARVIN_LOG(9, "%s:%d imported db users xml:\n%s", TARVIN_PLACE, list.Str(true).c_str());
  });
}
BENCHMARK(WrittenReply);

}  // namespace

BENCHMARK_MAIN();
