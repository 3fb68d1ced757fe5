#pragma once

#include <memory>
#include <string>
#include <utility>

#include "trel/export.h"

/// Files of this host. Failures throw trel_err::Error "file" with the operation as object, the
/// path as value, and a message that says why.
namespace trel_file {

/// True when `path` leads to something, links followed.
TREL_EXPORT bool Exists(const std::string& path);
/// The whole contents of a regular file (or a pipe); a directory is an error. So is a link or a
/// pipe in a directory in which others can put names.
TREL_EXPORT std::string Read(const std::string& path);
/// Replaces the contents of `path`, which is made with mode 0600 when missing. An existing file
/// keeps its mode. A link in the place of the file is an error, never followed.
TREL_EXPORT void Write(const std::string& path, const std::string& text);
/// `dir` and `name` with exactly one "/" between them; `name` alone when `dir` is empty.
TREL_EXPORT std::string ConcatPath(const std::string& dir, const std::string& name);
/// The directory and the last component of `path`: ("a/b", "c") for "a/b/c", ("/", "c") for "/c",
/// ("", "c") for "c".
TREL_EXPORT std::pair<std::string, std::string> SplitPath(const std::string& path);
/// Removes a file or a link; one that is not there is no error.
TREL_EXPORT void RemoveFile(const std::string& path);

/// Where PATH leads to `program`; empty when it does not.
TREL_EXPORT std::string GetFullPath(const std::string& program);

/// What a path leads to.
class TREL_EXPORT Info {
 public:
  /// Looks at `path`. `options`: bit 2 follows links. REQUIRES: no other bits
  /// (trel_err::AssertError otherwise).
  Info(const std::string& path, int options);
  bool IsDir() const { return is_dir_; }

 private:
  bool is_dir_;
};

/// A walk through the entries of a directory, "." and ".." left out, in no certain order.
class TREL_EXPORT Dir {
 public:
  explicit Dir(const std::string& path);
  ~Dir();
  Dir(const Dir&) = delete;
  Dir& operator=(const Dir&) = delete;

  /// Steps to the next entry; false behind the last.
  bool Read();
  /// The entry's name.
  const std::string& name() const { return name_; }
  /// The entry itself, or, with `follow`, what it leads to as a link.
  trel_file::Info Info(bool follow) const;

 private:
  struct Walk;
  std::string path_;
  std::string name_;
  std::unique_ptr<Walk> walk_;
};

/// A temporary file, owner-only, removed when its holder ends unless it is kept.
class TREL_EXPORT Tmp {
 public:
  /// What the text that a holder is made of says about the file's name.
  enum Name { kPrefix, kExactName };

  /// Makes a fresh file: `path` and a unique part, or exactly `path`. What stood there under the
  /// exact name, a file or a link, is replaced. The directory is reached without following a link
  /// that somebody other than root can have made.
  explicit Tmp(const std::string& path, Name name = kPrefix);
  ~Tmp();
  Tmp(const Tmp&) = delete;
  Tmp& operator=(const Tmp&) = delete;

  const std::string& Path() const { return path_; }
  /// Leaves the file in place when the holder ends.
  void Keep() { keep_ = true; }

 private:
  std::string path_;
  bool keep_ = false;
};

/// Attributes to give to a file.
class TREL_EXPORT Attrs {
 public:
  /// `mode`: permission bits, such as 0600.
  explicit Attrs(unsigned mode) : mode_(mode) {}
  /// Sets them on `path`, which must be a file or a directory and no link; with `recursive` on
  /// everything below a directory too, links left alone.
  void SafeSet(const std::string& path, bool recursive) const;

 private:
  unsigned mode_;
};

}  // namespace trel_file
