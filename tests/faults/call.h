#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace faults {

/// On which way a migration reaches the outside.
enum class Channel {
  kSourcePanel,
  kLocalPanel,
  kDump,     ///< fetching a dump from the source panel
  kMailSsh,  ///< the first connection to the source host: rights of mail files
  kCopySsh,  ///< the second one: everything around the copy
  kChild,
  kFile,
};

/// One interaction with the outside.
struct Call {
  Channel channel;
  std::string key;     ///< what is done, the same for every object
  std::string object;  ///< to which database, user, certificate; empty where there is but one

  bool operator==(const Call&) const = default;
};

/// The channel as the page names it: "source panel".
std::string NameOf(Channel channel);
/// "source panel: db.users [shop]".
std::string Describe(const Call& call);

/// A call of the system with a file.
struct FileCall {
  Call call;
  std::size_t behind = 0;  ///< how many calls of other kinds came before it
};

/// What a run called.
struct Calls {
  std::vector<Call> calls;
  std::vector<FileCall> files;
};

/// The calls as text, one a line, and back: they travel from one process to another.
std::string WriteCalls(const Calls& calls);
Calls ReadCalls(const std::string& text);

}  // namespace faults
