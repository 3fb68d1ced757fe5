#include "seam/conf.h"

#include <cstdlib>
#include <functional>
#include <toml.hpp>

#include "trel/trel_err.h"
#include "trel/trel_file.h"

namespace trel_seam {
namespace {

constexpr char kDefaultFile[] = "/etc/vortrel/trel.toml";

[[noreturn]] void Refuse(const std::string& place, const std::string& why) {
  throw trel_err::Error("conf", "read", place, place + ": " + why);
}

/// Reads one value into the configuration; throws std::exception when it is of another kind.
using Setter = std::function<void(Conf&, const toml::value&)>;

Setter Text(std::string Conf::*field) {
  return [field](Conf& conf, const toml::value& value) { conf.*field = value.as_string().str; };
}

void SetPins(Conf& conf, const toml::value& value) {
  conf.pins.clear();
  for (const auto& [place, pin] : value.as_table()) {
    const auto& text = pin.as_string().str;
    if (text.rfind("sha256//", 0) != 0) throw std::invalid_argument("a pin is not sha256//...");
    conf.pins[place] = text;
  }
}

void SetHostKeys(Conf& conf, const toml::value& value) {
  const auto& text = value.as_string().str;
  if (text != "strict" && text != "accept-new") {
    throw std::invalid_argument("neither \"accept-new\" nor \"strict\"");
  }
  conf.strict_host_keys = text == "strict";
}

const std::map<std::string, Setter>& Setters() {
  static const std::map<std::string, Setter> setters{
      {"local.socket", Text(&Conf::local_socket)},   {"log.dir", Text(&Conf::log_dir)},
      {"tls.ca_file", Text(&Conf::ca_file)},         {"tls.pins", SetPins},
      {"ssh.known_hosts", Text(&Conf::known_hosts)}, {"ssh.host_keys", SetHostKeys},
  };
  return setters;
}

std::string PlaceOf(const std::string& file, const toml::value& value, const std::string& key) {
  return file + ":" + std::to_string(value.location().line()) + ": " + key;
}

void Set(Conf& conf, const std::string& file, const std::string& key, const toml::value& value) {
  const auto setter = Setters().find(key);
  if (setter == Setters().end()) Refuse(PlaceOf(file, value, key), "unknown key");
  try {
    setter->second(conf, value);
  } catch (const std::invalid_argument& error) {
    Refuse(PlaceOf(file, value, key), error.what());
  } catch (const std::exception&) {
    Refuse(PlaceOf(file, value, key), "a value of the wrong kind");
  }
}

/// The tree of `file`. The parser's own account of a syntax error shows the line and the place.
toml::value Parse(const std::string& file) {
  std::istringstream text(trel_file::Read(file));
  try {
    return toml::parse(text, file);
  } catch (const toml::syntax_error& error) {
    Refuse(file + ":" + std::to_string(error.location().line()), error.what());
  }
}

}  // namespace

Conf ReadConf() {
  const char* named = std::getenv("TREL_CONF");
  if (named == nullptr && !trel_file::Exists(kDefaultFile)) return {};
  const std::string file = named != nullptr ? named : kDefaultFile;
  Conf conf;
  const toml::value root = Parse(file);
  for (const auto& [section, values] : root.as_table()) {
    if (!values.is_table()) Refuse(PlaceOf(file, values, section), "unknown key");
    for (const auto& [key, value] : values.as_table()) {
      Set(conf, file, section + "." + key, value);
    }
  }
  return conf;
}

const Conf& Configuration() {
  static const Conf conf = ReadConf();
  return conf;
}

}  // namespace trel_seam
