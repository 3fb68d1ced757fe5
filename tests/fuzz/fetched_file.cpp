// A file from the source panel: it arrives whole and as it was sent, or is an error and leaves
// what was there.

#include <algorithm>

#include "fuzz/fuzz.h"
#include "support/scratch.h"
#include "support/seam.h"
#include "trel/trel_err.h"
#include "trel/trel_rpc.h"
#include "trel/trel_xml.h"

namespace {

/// Hands out a body in pieces.
class Pieces : public support::ScriptedPanel {
 public:
  explicit Pieces(std::string_view body) : body_(body) {}
  int Get(const std::string&, int, const std::function<void(std::string_view)>& sink) override {
    constexpr std::size_t kPiece = 7;
    for (std::size_t at = 0; at < body_.size(); at += kPiece) sink(body_.substr(at, kPiece));
    return 200;
  }

 private:
  std::string_view body_;
};

bool IsErrorDocument(std::string_view text) {
  try {
    return static_cast<bool>(trel_xml::Xml::Parse(std::string(text)).GetRoot().FindNode("error"));
  } catch (const trel_err::Error&) {
    return false;
  }
}

}  // namespace

void fuzz::Try(std::string_view input) {
  static const support::Scratch scratch;
  const auto path = scratch.Write("dump", "before", 0640);
  trel_seam::Current().http = std::make_shared<Pieces>(input);
  try {
    trel_rpc::FetchFile("https://src.example/?auth=key", path, 0);
    ALWAYS(support::ReadFile(path) == input);
    ALWAYS(!IsErrorDocument(input));
  } catch (const trel_err::Error& error) {
    ALWAYS(error.type() == "remote" && error.object() == "fetch");
    ALWAYS(error.value().starts_with("src.example:443: "));
    ALWAYS(IsErrorDocument(input));
    ALWAYS(support::ReadFile(path) == "before");
  }
  ALWAYS(support::ModeOf(path) == 0640);
  ALWAYS(scratch.Names() == std::vector<std::string>{"dump"});
}
