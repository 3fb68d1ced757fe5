#include <algorithm>
#include <optional>
#include <utility>

#include "panel/dbserver/dump_filter.h"
#include "panel/dbserver/sql_text.h"
#include "trel/str.h"

namespace panel::dbserver {
namespace {

using sql::Head;

constexpr std::size_t kMaxHead = 65536;

class Definers : public DumpFilter {
 public:
  explicit Definers(std::string account) : account_(std::move(account)) {}

  std::string Feed(std::string_view bytes) override {
    held_ += bytes;
    std::string out;
    while (at_head_ ? StepHead(out) : StepBody()) {
    }
    out.append(held_, 0, at_);
    held_.erase(0, std::exchange(at_, 0));
    return out;
  }

  std::string End() override {
    at_end_ = true;
    const std::string out = Feed("");
    return out + std::exchange(held_, {});
  }

 private:
  std::string_view rest() const { return std::string_view(held_).substr(at_); }

  // Passes over one blank or comment, or looks at the statement that begins. False when more text
  // is needed.
  bool StepHead(std::string& out) {
    const std::optional<std::size_t> blank = rest().empty() ? std::nullopt : BlankEnd();
    if (!blank && !at_end_) {
      return false;
    }
    if (blank && std::exchange(at_, *blank) != *blank) {
      return true;
    }
    const Head head = sql::ReadHead(rest());
    switch (head.kind) {
      case Head::Kind::kUnfinished:
        at_head_ = rest().empty() || (!at_end_ && rest().size() < kMaxHead);
        return !at_head_;
      case Head::Kind::kOther:
        at_head_ = false;
        break;
      case Head::Kind::kDelimiter:
        TakeDelimiter();
        break;
      case Head::Kind::kDefiner:
        out.append(held_, 0, at_ + head.begin).append(account_);
        held_.erase(0, std::exchange(at_, 0) + head.end);
        at_head_ = false;
    }
    return true;
  }

  // Of the blank or comment that comes next; where we are when there is none, none when the end is
  // not there yet.
  std::optional<std::size_t> BlankEnd() const {
    if (sql::IsBlank(rest()[0])) {
      return at_ + 1;
    }
    const bool versioned = rest().starts_with("/*!") || rest().starts_with("/*M");
    return versioned ? at_ : sql::CommentEnd(held_, at_);
  }

  void TakeDelimiter() {
    const std::size_t end = held_.find('\n', at_) + 1;
    std::string line = held_.substr(at_, end - at_);
    str::GetWord(line);
    delimiter_ = str::Trim(line).empty() ? ";" : str::Trim(line);
    at_ = end;
  }

  // Goes to the end of the statement. False when that is not there yet.
  bool StepBody() {
    const std::size_t look_ahead = at_end_ ? 1 : std::max<std::size_t>(delimiter_.size(), 4);
    while (true) {
      at_ = std::min(held_.find_first_of(Stops(), at_), held_.size());
      if (rest().size() < look_ahead) {
        return false;
      }
      if (quote_ != '\0') {
        StepQuoted();
      } else if (rest().starts_with(delimiter_)) {
        at_ += delimiter_.size();
        at_head_ = true;
        return true;
      } else if (!StepCode()) {
        return false;
      }
    }
  }

  // Where something may change.
  std::string Stops() const {
    return quote_ != '\0' ? std::string{quote_, '\\'} : std::string("'\"`#-/") + delimiter_[0];
  }

  void StepQuoted() {
    const char c = held_[at_];
    at_ = std::min(at_ + (c == '\\' && quote_ != '`' ? 2 : 1), held_.size());
    if (c == quote_) {
      quote_ = '\0';
    }
  }

  // Passes over one character or comment; false when the comment's end is not there yet.
  bool StepCode() {
    const std::optional<std::size_t> end = sql::CommentEnd(held_, at_);
    if (!end && !at_end_) {
      return false;
    }
    if (end == at_ && sql::IsQuote(held_[at_])) {
      quote_ = held_[at_];
    }
    at_ = std::max(end.value_or(held_.size()), at_ + 1);
    return true;
  }

  std::string account_;
  std::string delimiter_ = ";";
  std::string held_;  // from at_ on not looked at yet, before it done
  std::size_t at_ = 0;
  bool at_head_ = true;  // between two statements
  bool at_end_ = false;
  char quote_ = '\0';  // that of the text or name that at_ is in
};

}  // namespace

std::unique_ptr<DumpFilter> DefinerFilter(std::string account) {
  return std::make_unique<Definers>(std::move(account));
}

}  // namespace panel::dbserver
