// The log: one event is one line and what goes on behind a tab, and says what was written.

#include <cstdlib>
#include <filesystem>

#include "fuzz/fuzz.h"
#include "support/scratch.h"
#include "trel/trel_log.h"

namespace {

constexpr int kLevel = 4;
const trel_log::Module kModule("fuzz", "vortrel");

struct Place {
  Place() {
    const auto conf = scratch.Write("trel.toml", "log.dir = '" + scratch.Path("log") + "'\n");
    setenv("TREL_CONF", conf.c_str(), 1);
    trel_log::Init("fuzz", kLevel);
  }
  support::Scratch scratch;
  std::string file = scratch.Path("log/fuzz.log");
};

/// True for "2026-11-20T18:02:01.123456 PROCESS 4 fuzz MESSAGE".
bool IsLine(std::string_view line, const std::string& message) {
  constexpr std::string_view kTime = "0000-00-00T00:00:00.000000 ";
  if (line.size() < kTime.size()) return false;
  for (const char form : kTime) {
    const bool digit = line.front() >= '0' && line.front() <= '9';
    if (form == '0' ? !digit : line.front() != form) return false;
    line.remove_prefix(1);
  }
  line.remove_prefix(std::min(line.find(' '), line.size()));
  return line == " " + std::to_string(kLevel) + " fuzz " + message;
}

}  // namespace

/// Each part is a message.
void fuzz::Try(std::string_view input) {
  static const Place place;
  std::filesystem::resize_file(place.file, 0);
  std::vector<std::string> messages;
  do {
    auto message = Part(input);
    message = message.substr(0, message.find('\0'));
    kModule.Write(kLevel, "%s", message.c_str());
    messages.push_back(message);
  } while (!input.empty());

  const auto text = support::ReadFile(place.file);
  ALWAYS(text.ends_with('\n'));
  std::vector<std::string> events;
  for (const auto& line : Lines(text)) {
    if (line.starts_with('\t')) {
      ALWAYS(!events.empty());
      events.back() += "\n" + line.substr(1);
    } else {
      events.push_back(line);
    }
  }
  ALWAYS(events.size() == messages.size());
  for (std::size_t i = 0; i < events.size(); ++i) ALWAYS(IsLine(events[i], messages[i]));
}
