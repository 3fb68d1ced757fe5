#include "faults/page.h"

#include <algorithm>
#include <map>
#include <set>
#include <stdexcept>

#include "faults/rules.h"

namespace faults {
namespace {

constexpr char kMark[] = "<!-- From here on written by: fault_matrix --table -->\n";

/// What a fault of one interaction came to: migrations by outcome, in the order of the run.
using Outcomes = std::map<std::string, std::set<std::string>>;

/// What the page has of one interaction.
struct Section {
  std::vector<std::string> faults;
  std::map<std::string, Outcomes> outcomes;  ///< by fault
  std::map<std::string, std::size_t> cells;  ///< by fault and outcome
  std::set<std::string> scenarios;
};

void Add(Section& section, const Entry& entry) {
  const auto& summary = entry.result.summary;
  auto& outcomes = section.outcomes[entry.fault];
  if (outcomes.empty()) section.faults.push_back(entry.fault);
  outcomes[summary].insert(entry.scenario.Name());
  section.scenarios.insert(entry.scenario.Name());
  ++section.cells[entry.fault + summary];
}

/// The faults that came to the same everywhere, group by group.
std::vector<std::vector<std::string>> Groups(const Section& section) {
  std::vector<std::vector<std::string>> groups;
  for (const auto& fault : section.faults) {
    const auto group = std::find_if(groups.begin(), groups.end(), [&](const auto& one) {
      return section.outcomes.at(one.front()) == section.outcomes.at(fault);
    });
    if (group == groups.end()) {
      groups.push_back({fault});
    } else {
      group->push_back(fault);
    }
  }
  // The largest comes last, as "any other".
  std::stable_sort(groups.begin(), groups.end(),
                   [](const auto& a, const auto& b) { return a.size() < b.size(); });
  return groups;
}

/// "status 1 once", "status 2 once" as "status 1, 2 once".
std::string Fold(const std::vector<std::string>& faults) {
  std::vector<std::string> names;
  std::map<std::string, std::size_t> places;
  for (const auto& fault : faults) {
    std::string rest = fault;
    const bool numbered = rest.rfind("status ", 0) == 0;
    if (numbered) str::GetWord(rest, " ");
    const std::string number = numbered ? str::GetWord(rest, " ") : "";
    if (numbered && places.count(rest) > 0) {
      names[places[rest]] += ", " + number;
    } else {
      if (numbered) places[rest] = names.size();
      names.push_back(numbered ? "status " + number : fault);
    }
  }
  for (const auto& [rest, place] : places) {
    if (!rest.empty()) names[place] += " " + rest;
  }
  return str::Join(names, "; ");
}

/// "A" and "B" for the two kinds of migration, with the generations where not all are meant.
std::string Migrations(const std::set<std::string>& some, const std::set<std::string>& all) {
  if (some == all) return "all";
  std::map<std::string, std::vector<std::string>> kinds;
  for (const auto& scenario : Scenarios()) {
    if (some.count(scenario.Name()) == 0) continue;
    kinds[scenario.second ? "B" : "A"].push_back(scenario.remote_type.substr(7));
  }
  std::vector<std::string> texts;
  for (const auto& [kind, generations] : kinds) {
    const auto whole = std::count_if(all.begin(), all.end(), [&](const std::string& name) {
      return (name.find("second") != std::string::npos) == (kind == "B");
    });
    const bool every = static_cast<std::ptrdiff_t>(generations.size()) == whole;
    texts.push_back(every ? kind : kind + " of " + str::Join(generations, ", "));
  }
  return str::Join(texts, "; ");
}

std::string MakeRows(const std::string& key, const Section& section) {
  std::string rows;
  const auto groups = Groups(section);
  for (const auto& group : groups) {
    const bool other = &group == &groups.back() && group.size() > 4;
    const bool any = groups.size() == 1 && group.size() > 1;
    const std::string faults = any ? "any" : (other ? "any other" : Fold(group));
    for (const auto& [summary, scenarios] : section.outcomes.at(group.front())) {
      std::size_t cells = 0;
      for (const auto& fault : group) cells += section.cells.at(fault + summary);
      rows += "| " + key + (key.empty() ? "" : " | ") + faults + " | " +
              Migrations(scenarios, section.scenarios) + " | " + summary + " | " +
              std::to_string(cells) + " |\n";
    }
  }
  return rows;
}

/// The changes that others make to files: one row each, whatever the migration.
std::string MakeChangesTable(const Matrix& matrix) {
  std::map<std::string, Section> sections;
  for (const auto& entry : matrix.entries) {
    if (entry.call.key == "others") Add(sections[entry.fault], entry);
  }
  std::string text =
      "\n### What others do to the files of a job\n\n"
      "| what | migrations | ends with | problems | stays behind | cells |\n"
      "|---|---|---|---|---|---|\n";
  for (const auto& change : Changes()) text += MakeRows("", sections[change.name]);
  return text;
}

}  // namespace

std::string MakeTables(const Matrix& matrix) {
  std::map<const Rule*, Section> sections;
  for (const auto& entry : matrix.entries) {
    if (const Rule* rule = RuleOf(entry.call)) Add(sections[rule], entry);
  }
  std::string text = "\n" + std::to_string(matrix.entries.size()) + " cells.\n";
  for (const auto channel :
       {Channel::kSourcePanel, Channel::kLocalPanel, Channel::kDump, Channel::kMailSsh,
        Channel::kCopySsh, Channel::kChild, Channel::kFile}) {
    text += "\n### " + NameOf(channel) +
            "\n\n| interaction | fault | migrations | ends with | problems | stays behind | cells "
            "|\n|---|---|---|---|---|---|---|\n";
    for (const auto& rule : Rules()) {
      if (rule.channel != channel) continue;
      const auto& section = sections[&rule];
      const std::string key = "`" + std::string(rule.key) + "`: " + rule.what;
      text += MakeRows(key, section);
    }
  }
  return text + MakeChangesTable(matrix);
}

std::string ReplaceTables(const std::string& page, const std::string& tables) {
  const auto mark = page.find(kMark);
  if (mark == std::string::npos) throw std::runtime_error("the page has no place for the tables");
  return page.substr(0, mark) + kMark + tables;
}

}  // namespace faults
