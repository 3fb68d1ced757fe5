#include <utility>

#include "panel/dbserver/dump_filter.h"
#include "trel/str.h"

namespace panel::dbserver {
namespace {

constexpr std::string_view kRestrict = "\\restrict ";
constexpr std::string_view kUnrestrict = "\\unrestrict ";
// No line of a dump that matters here is longer; rows can be of any length.
constexpr std::size_t kLongestLine = 1024;

class Restriction : public DumpFilter {
 public:
  explicit Restriction(const std::string& key) : out_(std::string(kRestrict) + key + "\n") {}

  std::string Feed(std::string_view bytes) override {
    while (!bytes.empty()) {
      const std::size_t size = std::min(bytes.find('\n'), bytes.size() - 1) + 1;
      line_ += bytes.substr(0, size);
      bytes.remove_prefix(size);
      if (line_.back() == '\n' || line_.size() > kLongestLine) {
        TakeLine();
      }
    }
    return std::exchange(out_, {});
  }

  std::string End() override { return std::exchange(out_, {}) + std::exchange(line_, {}); }

 private:
  // Takes a line, or what there is of a long one.
  void TakeLine() {
    const bool ends = line_.back() == '\n';
    if (in_line_ || !ends || !IsOwnRestriction()) {
      out_ += line_;
    }
    in_line_ = !ends;
    line_.clear();
  }

  // The dump's own \restrict stands before the first statement, and its key ends what looks like a
  // \unrestrict: rows of data may begin like one, but do not know the key.
  bool IsOwnRestriction() {
    const std::string line = str::Trim(line_);
    if (own_key_.empty() && in_comments_ && line.starts_with(kRestrict)) {
      own_key_ = line.substr(kRestrict.size());
      return true;
    }
    in_comments_ = in_comments_ && (line.empty() || line.starts_with("--"));
    return !own_key_.empty() && line == std::string(kUnrestrict) + own_key_;
  }

  std::string out_;
  std::string line_;
  std::string own_key_;
  bool in_line_ = false;     // behind the first piece of a long line
  bool in_comments_ = true;  // no statement yet
};

}  // namespace

std::unique_ptr<DumpFilter> RestrictFilter(const std::string& key) {
  return std::make_unique<Restriction>(key);
}

}  // namespace panel::dbserver
