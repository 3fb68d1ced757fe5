#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <string_view>

#include "descriptor.h"
#include "reason.h"
#include "safe_path.h"
#include "seam/seam.h"
#include "trel/str.h"
#include "trel/trel_err.h"
#include "trel/trel_rpc.h"
#include "trel/trel_xml.h"
#include "url_place.h"

namespace trel_rpc {
namespace {

/// The longest file that may turn out to be an error document, and how much of one is looked at
/// with each piece that comes.
constexpr std::size_t kDocumentLimit = 1 << 20;
constexpr std::size_t kBeginning = 512;

[[noreturn]] void Fail(const std::string& why) {
  throw trel_err::Error("remote", "fetch", why, why);
}

[[noreturn]] void Fail(const std::string& path, int error) {
  Fail(path + ": " + trel_seam::ReasonOf(error));
}

/// False when the text begins otherwise than XML does. There may be more of it.
bool MayBeXml(std::string_view text) {
  constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";
  if (kByteOrderMark.starts_with(text)) return true;
  if (text.starts_with(kByteOrderMark)) text.remove_prefix(kByteOrderMark.size());
  const auto begin = text.find_first_not_of(" \t\r\n");
  return begin == std::string_view::npos || text[begin] == '<';
}

/// A file in the making, beside the one that it will become. Removed unless it gets there. Both
/// are named within one open directory, so that nobody who may rename things on the way to it can
/// turn us elsewhere.
class PartFile {
 public:
  explicit PartFile(const std::string& path)
      : path_(path),
        place_(trel_file::OpenPlace(path)),
        part_(".fetch-" + str::hex::Encode(str::Random(8))) {
    if (!place_.dir) Fail(path_, errno);
    // Makes a file that was not there, for its owner alone.
    file_ = Descriptor(openat(place_.dir.get(), part_.c_str(),
                              O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600));
    if (!file_) Fail(path_, errno);
  }

  ~PartFile() {
    if (!part_.empty()) unlinkat(place_.dir.get(), part_.c_str(), 0);
  }

  PartFile(const PartFile&) = delete;
  PartFile& operator=(const PartFile&) = delete;

  void Append(std::string_view piece) {
    if (MayBeDocument()) text_ += piece;
    if (!WriteAll(file_, piece)) Fail(path_, errno);
  }

  /// The contents as far as they may be a document; empty for any other file.
  std::string Document() const { return MayBeDocument() ? text_ : ""; }

  /// Takes the place and the mode of the file that it was made for.
  void Replace() {
    const int dir = place_.dir.get();
    struct stat old {};
    if (fstatat(dir, place_.name.c_str(), &old, AT_SYMLINK_NOFOLLOW) != 0 ||
        !S_ISREG(old.st_mode)) {
      old.st_mode = 0600;
    }
    if (fchmod(file_.get(), old.st_mode & 0777) != 0 ||
        renameat(dir, part_.c_str(), dir, place_.name.c_str()) != 0) {
      Fail(path_, errno);
    }
    part_.clear();
  }

 private:
  bool MayBeDocument() const {
    return text_.size() <= kDocumentLimit &&
           MayBeXml(std::string_view(text_).substr(0, kBeginning));
  }

  std::string path_;
  trel_file::SafePlace place_;
  std::string part_;
  Descriptor file_;
  std::string text_;  // kept while it may be a document
};

/// Throws the error that the document holds; anything else passes.
void RefuseErrorDocument(std::string text, const std::string& place) {
  trel_xml::Xml document;
  try {
    document = trel_xml::Xml::Parse(std::move(text));
  } catch (const trel_err::Error&) {
    return;  // a file that at most begins like a document
  }
  const auto error = document.GetRoot().FindNode("error");
  if (!error) return;
  const auto message = error.FindNode("msg").Str();
  throw trel_err::Error("remote", "fetch",
                        place + ": " + (message.empty() ? "an error without a message" : message),
                        document);
}

}  // namespace

void FetchFile(const std::string& url, const std::string& path, int timeout) {
  const auto place = trel_seam::PlaceOf(url);
  PartFile part(path);
  try {
    const int status = trel_seam::Current().http->Get(
        url, timeout, [&part](std::string_view piece) { part.Append(piece); });
    if (status != 200) Fail(place + ": answered with status " + std::to_string(status));
  } catch (const trel_seam::HttpFailure& failure) {
    Fail(failure.what());
  }
  RefuseErrorDocument(part.Document(), place);
  part.Replace();
}

}  // namespace trel_rpc
