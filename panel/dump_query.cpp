#include "panel/dump_query.h"

#include <algorithm>
#include <iterator>
#include <utility>

#include "panel/error.h"
#include "trel/str.h"

namespace panel {
namespace {

constexpr std::string_view kDownloadPath = "/zelcgi/dbdownload";
constexpr const char* kDownload = "dbdownload";
constexpr const char* kDump = "db.dump";
constexpr std::string_view kElid = "elid=";

// Cuts the field elid out of `query` and gives its value as it stands in the URL.
std::string CutElid(std::string& query) {
  std::string rest;
  std::string elid;
  bool found = false;
  while (!query.empty()) {
    const std::string field = str::GetWord(query, '&');
    if (!field.starts_with(kElid)) {
      str::Append(rest, field, "&");
    } else if (std::exchange(found, true)) {
      throw Error("request", "body", "", "field 'elid' is given twice");
    } else {
      elid = field.substr(kElid.size());
    }
  }
  query = rest;
  return elid;
}

std::vector<std::string> Readings(const std::string& elid) {
  if (elid.empty()) {
    throw Error("value", "elid", "", "field elid is missing or empty");
  }
  std::vector<std::string> readings = {elid};
  try {
    const std::string decoded = Form::Parse(std::string(kElid) + elid).Get("elid");
    if (decoded != elid) {
      readings.push_back(decoded);
    }
  } catch (const Error&) {
    // A name with a percent sign, as it is.
  }
  return readings;
}

using Comparison = bool (*)(const Hosted& database, const std::string& reading);

bool SameKey(const Hosted& database, const std::string& reading) {
  return database.id.Key() == reading;
}

bool SameName(const Hosted& database, const std::string& reading) {
  return database.id.name == reading;
}

bool SameNameInLowerCase(const Hosted& database, const std::string& reading) {
  return str::Lower(database.id.name) == str::Lower(reading);
}

Error Ambiguous(const std::string& reading, const std::vector<Hosted>& databases) {
  std::vector<std::string> keys;
  keys.reserve(databases.size());
  for (const Hosted& database : databases) {
    keys.push_back(database.id.Key());
  }
  return BadValue("elid", reading, "stands for several databases: " + str::Join(keys, ", "));
}

}  // namespace

std::optional<DumpQuery> DumpQuery::Parse(const Role& role, std::string_view target) {
  const std::string_view path = target.substr(0, target.find('?'));
  std::string query(target.substr(std::min(path.size() + 1, target.size())));
  if (role.side == Side::kLocal || (role.generation == Generation::k4 && path != kDownloadPath)) {
    return std::nullopt;
  }
  const std::string elid = CutElid(query);
  Form form = Form::Parse(query);
  if (form.Has("elid")) {
    throw Error("request", "body", "", "field 'elid' is not written as elid=NAME");
  }
  if (role.generation == Generation::k4) {
    return DumpQuery{kDownload, std::move(form), Readings(elid)};
  }
  if (form.Get("func") != kDump) {
    return std::nullopt;
  }
  return DumpQuery{kDump, std::move(form), Readings(elid)};
}

Hosted DumpQuery::Choose(const std::vector<Hosted>& databases) const {
  const std::vector<Comparison> comparisons =
      function == kDump ? std::vector<Comparison>{SameKey}
                        : std::vector<Comparison>{SameName, SameNameInLowerCase};
  for (const Comparison same : comparisons) {
    for (const std::string& reading : readings) {
      std::vector<Hosted> found;
      std::copy_if(databases.begin(), databases.end(), std::back_inserter(found),
                   [&](const Hosted& database) { return same(database, reading); });
      if (found.size() > 1) {
        throw Ambiguous(reading, found);
      }
      if (!found.empty()) {
        return found.front();
      }
    }
  }
  throw Missing("database", readings.back());
}

}  // namespace panel
