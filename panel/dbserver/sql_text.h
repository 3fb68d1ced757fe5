#pragma once

#include <cstddef>
#include <optional>
#include <string_view>

/// The text of SQL statements of MariaDB and MySQL, as far as dumps have to be understood.
namespace panel::dbserver::sql {

/// A blank, tab or line end.
bool IsBlank(char c);
/// The beginning of a quoted text or name.
bool IsQuote(char c);

/// Where a comment that begins at `at` ends; `at` when none begins there; none when the end is not
/// there yet. Versioned comments are code: of them only the opening counts as a comment.
std::optional<std::size_t> CommentEnd(std::string_view text, std::size_t at);

/// What the beginning of a statement says.
struct Head {
  enum class Kind {
    kUnfinished,  ///< more of the text is needed to tell
    kOther,
    kDelimiter,  ///< the client's own DELIMITER, with its line
    kDefiner,    ///< CREATE ... DEFINER = account
  };
  Kind kind = Kind::kUnfinished;
  std::size_t begin = 0;  ///< of that account
  std::size_t end = 0;
};

/// Looks at the statement that begins at the front of `text`.
Head ReadHead(std::string_view text);

}  // namespace panel::dbserver::sql
