#include "panel/access_file.h"

#include <algorithm>

#include "trel/str.h"

namespace panel {
namespace {

constexpr std::string_view kBlanks = " \t\r\n\v\f";

// One argument of a directive: where it stands in the line, and what it says.
struct Argument {
  std::size_t begin = 0;
  std::size_t end = 0;
  bool quoted = false;
  std::string text;
};

std::optional<Argument> QuotedArgument(std::string_view line, std::size_t begin) {
  Argument argument{begin, 0, true, ""};
  for (std::size_t at = begin + 1; at < line.size(); ++at) {
    if (line[at] == line[begin]) {
      argument.end = at + 1;
      return argument;
    }
    const bool escape = line[at] == '\\' && at + 1 < line.size() &&
                        (line[at + 1] == '\\' || line[at + 1] == line[begin]);
    at += escape ? 1 : 0;
    argument.text += line[at];
  }
  return std::nullopt;
}

std::optional<Argument> FindArgument(std::string_view line, std::size_t from) {
  const std::size_t begin = line.find_first_not_of(kBlanks, from);
  if (begin == std::string_view::npos) {
    return std::nullopt;
  }
  if (line[begin] == '"' || line[begin] == '\'') {
    return QuotedArgument(line, begin);
  }
  const std::size_t end = std::min(line.find_first_of(kBlanks, begin), line.size());
  return Argument{begin, end, false, std::string(line.substr(begin, end - begin))};
}

std::string Quote(const std::string& path) {
  std::string quoted = "\"";
  for (const char c : path) {
    if (c == '"' || c == '\\') {
      quoted += '\\';
    }
    quoted += c;
  }
  return quoted + '"';
}

// The path of an AuthUserFile or AuthGroupFile line; none in any other line.
std::optional<Argument> FindPath(std::string_view line) {
  const std::size_t begin = std::min(line.find_first_not_of(kBlanks), line.size());
  const std::size_t end = std::min(line.find_first_of(kBlanks, begin), line.size());
  const std::string directive = str::Lower(std::string(line.substr(begin, end - begin)));
  if (directive != "authuserfile" && directive != "authgroupfile") {
    return std::nullopt;
  }
  return FindArgument(line, end);
}

std::string MoveLine(std::string_view line, const HomeMove& move) {
  const std::optional<Argument> path = FindPath(line);
  const std::optional<std::string> moved = path ? move.NewPath(path->text) : std::nullopt;
  if (!moved) {
    return std::string(line);
  }
  const bool quote = path->quoted || moved->find_first_of(" \t\"'\\") != std::string::npos;
  return std::string(line.substr(0, path->begin)) + (quote ? Quote(*moved) : *moved) +
         std::string(line.substr(path->end));
}

}  // namespace

std::optional<std::string> HomeMove::NewPath(const std::string& path) const {
  // Compared by components, with `..` resolved: /home/bob2 and /home/bob/../eve are not under
  // /home/bob.
  const auto home = (remote_home / "").lexically_normal();
  const auto below = std::filesystem::path(path).lexically_normal().lexically_relative(home);
  if (below.empty() || *below.begin() == ".." || *below.begin() == ".") {
    return std::nullopt;
  }
  std::error_code error;
  if (!overwrite && std::filesystem::exists(path, error)) {
    return std::nullopt;
  }
  return (local_home / below).string();
}

std::string MoveAccessFile(std::string_view text, const HomeMove& move) {
  std::string moved;
  while (!text.empty()) {
    const std::size_t end = text.find('\n');
    const std::string_view line = text.substr(0, end == std::string_view::npos ? end : end + 1);
    moved += MoveLine(line, move);
    text.remove_prefix(line.size());
  }
  return moved;
}

}  // namespace panel
