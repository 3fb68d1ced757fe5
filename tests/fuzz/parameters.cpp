// The parameters file: what is read is what each line says, no secret reaches the log, and what is
// written is read again as it was.

#include <unistd.h>

#include <filesystem>

#include "fuzz/fuzz.h"
#include "support/scratch.h"
#include "support/seam.h"
#include "tarvin/tarvin.h"
#include "trel/trel_file.h"
#include "trel/trel_log.h"

namespace {

/// A working directory of our own, and a log that is kept.
struct Place {
  Place() : file(scratch.Path("params")) {
    std::filesystem::create_directory(scratch.Path("var"));
    std::filesystem::current_path(scratch.Dir());
    trel_seam::Current().log = log;
    trel_log::Init("fuzz", 9);
  }
  support::Scratch scratch;
  std::string file;
  std::shared_ptr<support::KeptLog> log = std::make_shared<support::KeptLog>();
  tarvin::BinParams writer{"params"};
};

bool IsSecret(const std::string& key) {
  return key == "password" || key.find("_auth") != std::string::npos;
}

/// A text as a line of the log shows it.
std::string Shown(const std::string& text) {
  return text.substr(0, text.find('\0'));
}

void CheckLogLine(const std::string& line, const std::string& key, const std::string& value) {
  const auto shown = IsSecret(key) ? "*" : Shown(value);
  ALWAYS(line.ends_with(" got param '" + Shown(key) + "' = '" + shown + "'"));
}

/// A key that ends in " =" takes the separator's part when it is written with an empty value.
bool CanBeWritten(const StringMap& params) {
  for (const auto& [key, value] : params) {
    if (key.ends_with(" =") && value.empty()) return false;
  }
  return true;
}

}  // namespace

void fuzz::Try(std::string_view input) {
  static Place place;
  trel_file::Write(place.file, std::string(input));
  place.log->lines.clear();
  StringMap params;
  tarvin::BinParams("params").Get(place.file, params);

  const auto lines = Lines(input);
  ALWAYS(place.log->lines.size() == lines.size() + 1);
  StringMap expected;
  for (std::size_t i = 0; i < lines.size(); ++i) {
    const auto end = lines[i].find(" = ");
    const auto key = lines[i].substr(0, end);
    const auto value = end == std::string::npos ? "" : lines[i].substr(end + 3);
    CheckLogLine(place.log->lines[i + 1], key, value);
    expected[key] = value;
  }
  ALWAYS(params == expected);

  if (!CanBeWritten(params)) return;
  place.writer.Set(params);
  StringMap again;
  for (const auto& entry : std::filesystem::directory_iterator("var")) {
    tarvin::BinParams("params").Get(entry.path(), again);
  }
  ALWAYS(again == params);
}
