#include "seam/conf.h"

#include <toml++/toml.h>

#include <cstdlib>
#include <functional>
#include <string_view>

#include "trel/trel_err.h"
#include "trel/trel_file.h"

namespace trel_seam {
namespace {

constexpr char kDefaultFile[] = "/etc/vortrel/trel.toml";

[[noreturn]] void Refuse(const std::string& place, const std::string& why) {
  throw trel_err::Error("conf", "read", place, place + ": " + why);
}

std::string PlaceOf(const std::string& file, const toml::source_region& region) {
  return file + ":" + std::to_string(region.begin.line);
}

/// A value of the file. Its readers refuse what is of another kind.
struct Entry {
  const std::string& file;
  std::string key;   ///< from the root on, such as "log.dir"
  std::string name;  ///< the last part of it
  const toml::node& value;

  [[noreturn]] void Refuse(const std::string& why) const {
    trel_seam::Refuse(PlaceOf(file, value.source()) + ": " + key, why);
  }
  const std::string& Text() const {
    const auto* text = value.as_string();
    if (text == nullptr) Refuse("not a text");
    return text->get();
  }
  /// The job's working directory is no part of the configuration.
  const std::string& Path() const {
    if (!Text().starts_with('/')) Refuse("not an absolute path");
    return Text();
  }
  std::vector<Entry> Children() const {
    const auto* table = value.as_table();
    if (table == nullptr) Refuse("not a table");
    std::vector<Entry> children;
    for (const auto& [part, child] : *table) {
      const std::string own(part.str());
      children.push_back({file, key.empty() ? own : key + "." + own, own, child});
    }
    return children;
  }
};

using Setter = std::function<void(Conf&, const Entry&)>;

Setter Path(std::string Conf::*field) {
  return [field](Conf& conf, const Entry& entry) { conf.*field = entry.Path(); };
}

void SetCaFile(Conf& conf, const Entry& entry) {
  conf.ca_file = entry.Text().empty() ? "" : entry.Path();
}

/// True for "sha256//" and the base64 form of 32 bytes.
bool IsPin(const std::string& text) {
  constexpr std::string_view kKind = "sha256//";
  constexpr std::size_t kHashSize = 32;
  if (!text.starts_with(kKind)) return false;
  try {
    return str::base64::Decode(text.substr(kKind.size())).size() == kHashSize;
  } catch (const trel_err::Error&) {
    return false;
  }
}

void SetPins(Conf& conf, const Entry& entry) {
  for (const auto& pin : entry.Children()) {
    const auto port = pin.name.substr(pin.name.rfind(':') + 1);
    if (port == pin.name || str::Int(port) <= 0) pin.Refuse("not named \"host:port\"");
    if (!IsPin(pin.Text())) pin.Refuse("not \"sha256//\" and the hash of a key in base64");
    conf.pins[pin.name] = pin.Text();
  }
}

void SetHostKeys(Conf& conf, const Entry& entry) {
  if (entry.Text() != "strict" && entry.Text() != "accept-new") {
    entry.Refuse("neither \"accept-new\" nor \"strict\"");
  }
  conf.strict_host_keys = entry.Text() == "strict";
}

const std::map<std::string, std::map<std::string, Setter>>& Sections() {
  static const std::map<std::string, std::map<std::string, Setter>> sections{
      {"local", {{"socket", Path(&Conf::local_socket)}}},
      {"log", {{"dir", Path(&Conf::log_dir)}}},
      {"tls", {{"ca_file", SetCaFile}, {"pins", SetPins}}},
      {"ssh", {{"known_hosts", Path(&Conf::known_hosts)}, {"host_keys", SetHostKeys}}},
  };
  return sections;
}

/// The member of `known` that `entry` names.
template <class Known>
const typename Known::mapped_type& Find(const Known& known, const Entry& entry) {
  const auto found = known.find(entry.name);
  if (found == known.end()) entry.Refuse("unknown key");
  return found->second;
}

toml::table Parse(const std::string& file) {
  try {
    return toml::parse(trel_file::Read(file));
  } catch (const toml::parse_error& error) {
    Refuse(PlaceOf(file, error.source()), std::string(error.description()));
  } catch (const trel_err::Error& error) {
    Refuse(file, error.xml().GetNode("/doc/error/msg").Str());
  }
}

}  // namespace

Conf ReadConf() {
  const char* named = std::getenv("TREL_CONF");
  if (named == nullptr && !trel_file::Exists(kDefaultFile)) return {};
  const std::string file = named != nullptr ? named : kDefaultFile;
  const auto root = Parse(file);
  Conf conf;
  for (const auto& section : Entry{file, "", "", root}.Children()) {
    const auto& setters = Find(Sections(), section);
    for (const auto& entry : section.Children()) Find(setters, entry)(conf, entry);
  }
  return conf;
}

const Conf& Configuration() {
  static const Conf conf = ReadConf();
  return conf;
}

}  // namespace trel_seam
