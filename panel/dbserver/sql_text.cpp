#include "panel/dbserver/sql_text.h"

#include <string>

#include "trel/str.h"

namespace panel::dbserver::sql {
namespace {

bool IsDigit(char c) {
  return c >= '0' && c <= '9';
}

bool IsPunctuation(char c) {
  return std::string_view("=@,;/*()").find(c) != std::string_view::npos;
}

bool Is(std::string_view token, const char* word) {
  return str::Lower(std::string(token)) == word;
}

// Where the quoted text that begins at `at` ends; none when the end is not there yet.
std::optional<std::size_t> QuoteEnd(std::string_view text, std::size_t at) {
  const char quote = text[at];
  for (++at; at < text.size(); ++at) {
    if (text[at] == '\\' && quote != '`') {
      ++at;
    } else if (text[at] == quote && at + 1 < text.size()) {
      if (text[at + 1] != quote) {
        return at + 1;
      }
      ++at;  // doubled: part of the text
    }
  }
  return std::nullopt;
}

// The words at the beginning of a statement.
class HeadReader {
 public:
  explicit HeadReader(std::string_view text) : text_(text) {}

  // The next word, quoted name or punctuation mark; none when the text may end within it.
  std::optional<std::string_view> Next() {
    if (!SkipBlanks()) {
      return std::nullopt;
    }
    begin_ = at_;
    if (IsQuote(text_[at_])) {
      const std::optional<std::size_t> end = QuoteEnd(text_, at_);
      at_ = end.value_or(text_.size());
      return end ? std::optional(text_.substr(begin_, at_ - begin_)) : std::nullopt;
    }
    do {
      ++at_;
    } while (at_ < text_.size() && !IsPunctuation(text_[begin_]) && !Ends(text_[at_]));
    return at_ < text_.size() ? std::optional(text_.substr(begin_, at_ - begin_)) : std::nullopt;
  }

  std::size_t begin() const { return begin_; }  // of the last one
  std::size_t end() const { return at_; }

 private:
  static bool Ends(char c) { return IsBlank(c) || IsQuote(c) || IsPunctuation(c); }

  bool SkipBlanks() {
    while (at_ < text_.size()) {
      const std::size_t comment = CommentEnd(text_, at_).value_or(text_.size());
      if (comment != at_) {
        at_ = comment;
      } else if (text_.substr(at_).starts_with("*/")) {
        at_ += 2;
      } else if (IsBlank(text_[at_])) {
        ++at_;
      } else {
        return true;
      }
    }
    return false;
  }

  std::string_view text_;
  std::size_t begin_ = 0;
  std::size_t at_ = 0;
};

// REQUIRES: "DEFINER" was read last.
Head ReadAccount(HeadReader& reader) {
  const auto equals = reader.Next();
  const auto name = equals ? reader.Next() : std::nullopt;
  if (!name) {
    return {};
  }
  if (*equals != "=" || Is(*name, "current_user") || Is(*name, "current_role")) {
    return {Head::Kind::kOther};
  }
  Head head{Head::Kind::kDefiner, reader.begin(), reader.end()};
  const auto at = reader.Next();
  if (!at) {
    return {};
  }
  if (*at == "@") {
    if (!reader.Next()) {
      return {};
    }
    head.end = reader.end();
  }
  return head;
}

}  // namespace

bool IsBlank(char c) {
  return c == ' ' || (c >= '\t' && c <= '\r');
}

bool IsQuote(char c) {
  return c == '\'' || c == '"' || c == '`';
}

std::optional<std::size_t> CommentEnd(std::string_view text, std::size_t at) {
  const std::string_view rest = text.substr(at);
  const auto past = [&](std::string_view end) {
    const std::size_t found = text.find(end, at);
    return found == std::string_view::npos ? std::nullopt : std::optional(found + end.size());
  };
  if (rest.starts_with("#") || (rest.starts_with("--") && (rest.size() < 3 || IsBlank(rest[2])))) {
    return past("\n");
  }
  if (rest.starts_with("/*!") || rest.starts_with("/*M!")) {
    std::size_t end = text.find('!', at) + 1;
    while (end < text.size() && IsDigit(text[end])) {
      ++end;
    }
    return end;
  }
  return rest.starts_with("/*") ? past("*/") : at;
}

Head ReadHead(std::string_view text) {
  HeadReader reader(text);
  auto word = reader.Next();
  if (word && Is(*word, "delimiter")) {
    return {text.find('\n') == std::string_view::npos ? Head::Kind::kUnfinished
                                                      : Head::Kind::kDelimiter};
  }
  if (word && !Is(*word, "create")) {
    return {Head::Kind::kOther};
  }
  word = word ? reader.Next() : word;
  if (word && Is(*word, "or") && reader.Next()) {
    word = reader.Next();
  }
  if (word && Is(*word, "algorithm") && reader.Next() && reader.Next()) {
    word = reader.Next();
  }
  if (!word) {
    return {};
  }
  return Is(*word, "definer") ? ReadAccount(reader) : Head{Head::Kind::kOther};
}

}  // namespace panel::dbserver::sql
