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

  // The next word, quoted name or punctuation mark; empty when the text may end within it.
  std::string_view Next() {
    begin_ = SkipBlanks(at_);
    at_ = End(begin_);
    ended_ = at_ >= text_.size();
    return ended_ ? std::string_view() : text_.substr(begin_, at_ - begin_);
  }

  // True when there was no next word.
  bool ended() const { return ended_; }
  std::size_t begin() const { return begin_; }  // of the last one
  std::size_t end() const { return at_; }

 private:
  static bool Ends(char c) { return IsBlank(c) || IsQuote(c) || IsPunctuation(c); }

  std::size_t SkipBlanks(std::size_t at) const {
    while (at < text_.size()) {
      const std::size_t comment = CommentEnd(text_, at).value_or(text_.size());
      if (comment != at) {
        at = comment;
      } else if (text_.substr(at).starts_with("*/")) {
        at += 2;
      } else if (IsBlank(text_[at])) {
        ++at;
      } else {
        break;
      }
    }
    return at;
  }

  // Of the word that begins at `at`.
  std::size_t End(std::size_t at) const {
    if (at < text_.size() && IsQuote(text_[at])) {
      return QuoteEnd(text_, at).value_or(text_.size());
    }
    const bool one = at < text_.size() && IsPunctuation(text_[at]);
    do {
      ++at;
    } while (!one && at < text_.size() && !Ends(text_[at]));
    return at;
  }

  std::string_view text_;
  std::size_t begin_ = 0;
  std::size_t at_ = 0;
  bool ended_ = false;
};

// REQUIRES: "DEFINER" was read last.
Head ReadAccount(HeadReader& reader) {
  const std::string_view equals = reader.Next();
  const std::string_view name = reader.Next();
  if (equals != "=" || Is(name, "current_user") || Is(name, "current_role")) {
    return {Head::Kind::kOther};
  }
  Head head{Head::Kind::kDefiner, reader.begin(), reader.end()};
  if (reader.Next() == "@") {
    reader.Next();
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
  Head head{Head::Kind::kOther};
  std::string_view word = reader.Next();
  if (Is(word, "delimiter")) {
    const bool whole = text.find('\n') != std::string_view::npos;
    return {whole ? Head::Kind::kDelimiter : Head::Kind::kUnfinished};
  }
  if (Is(word, "create")) {
    word = reader.Next();
    if (Is(word, "or")) {
      reader.Next();  // replace
      word = reader.Next();
    }
    if (Is(word, "algorithm")) {
      reader.Next();  // =
      reader.Next();
      word = reader.Next();
    }
    if (Is(word, "definer")) {
      head = ReadAccount(reader);
    }
  }
  return reader.ended() ? Head{} : head;
}

}  // namespace panel::dbserver::sql
