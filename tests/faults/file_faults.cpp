// What the system can say to a call with a file, and what others can do to the files of a job.

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <map>

#include "faults/fault.h"
#include "support/forked.h"

namespace faults {
namespace {

namespace fs = std::filesystem;

constexpr uid_t kNobody = 65534;

Fault ErrnoFault(const std::string& name, int error) {
  Fault fault;
  fault.name = name;
  fault.kind = Fault::Kind::kErrno;
  fault.status = error;
  // The platform writes some reasons with a capital and some without.
  fault.says = std::string(std::strerror(error)).substr(1);
  return fault;
}

const std::vector<Fault>& OfOperation(const std::string& operation) {
  const Fault denied = ErrnoFault("permission denied", EACCES);
  const Fault full = ErrnoFault("disk full", ENOSPC);
  const Fault quota = ErrnoFault("quota used up", EDQUOT);
  const Fault read_only = ErrnoFault("read-only", EROFS);
  const Fault error = ErrnoFault("disk error", EIO);
  const Fault gone = ErrnoFault("file vanished", ENOENT);
  const Fault many = ErrnoFault("too many open files", EMFILE);
  const Fault loop = ErrnoFault("link planted", ELOOP);
  const Fault directory = ErrnoFault("directory planted", EISDIR);
  static const std::map<std::string, std::vector<Fault>> faults{
      {"create", {denied, full, quota, read_only, error, gone, many}},
      {"open", {denied, error, gone, many, loop}},
      {"write", {full, quota, error}},
      {"read", {error}},
      {"clear", {denied, read_only, error, directory}},
      {"remove", {denied, read_only, error, directory}},
      {"rename", {denied, full, read_only, error, directory}},
      {"protect", {ErrnoFault("not permitted", EPERM), read_only, error}},
      {"look", {denied, error}}};
  return faults.at(operation);
}

std::string Dump(const std::string& dir) {
  return dir + "/home/tarvin_dump.shop";
}

void LinkTo(const std::string& target, const std::string& link) {
  fs::remove_all(link);
  fs::create_symlink(target, link);
  if (lchown(link.c_str(), kNobody, kNobody) != 0) std::abort();
}

void GiveHomeAway(const std::string& dir) {
  if (chown((dir + "/home").c_str(), kNobody, kNobody) != 0) std::abort();
}

std::string PublicKey(const std::string& dir) {
  for (const auto& entry : fs::directory_iterator(dir + "/home")) {
    if (entry.path().extension() == ".pub") return entry.path();
  }
  return "";
}

/// Leaves no room on the disk of its own that the folder of the run is.
void FillDisk(const std::string& dir) {
  struct statvfs disk {};
  if (statvfs(dir.c_str(), &disk) != 0 || disk.f_blocks * disk.f_frsize > kSmallDisk) std::abort();
  std::ofstream filler(dir + "/filler");
  while (filler << std::string(4096, 'x') << std::flush) continue;
}

void EmptyDisk(const std::string& dir) {
  fs::remove(dir + "/filler");
}

/// The folder can be read, but only the home be written to.
void BecomeNobody(const std::string& dir) {
  fs::permissions(dir, fs::perms(0755));
  fs::permissions(fs::path(dir).parent_path(), fs::perms(0755));
  GiveHomeAway(dir);
  support::BecomeNobody();
}

Fault Change(const std::string& name, const std::string& at, const Call& shows,
             const std::string& says, void (*change)(const std::string&)) {
  Fault fault;
  fault.name = name;
  fault.kind = Fault::Kind::kChange;
  fault.change_at = at;
  fault.shows = shows;
  fault.says = says;
  fault.change = change;
  return fault;
}

Call OfFile(const std::string& key, const std::string& object = "") {
  return {Channel::kFile, key, object};
}

std::vector<Fault> MakeChanges() {
  const Call smooth{};
  const Call restore{Channel::kLocalPanel, "db.restore", "shop"};
  std::vector<Fault> changes{
      Change("a link at the place of a dump, before the job", "", smooth, "",
             [](const std::string& dir) { LinkTo(dir + "/victim", Dump(dir)); }),
      Change("a directory at the place of a dump, before the job", "", OfFile("clear dump", "shop"),
             "s a directory", [](const std::string& dir) { fs::create_directory(Dump(dir)); }),
      Change("a dump that another user left, before the job", "", smooth, "",
             [](const std::string& dir) { std::ofstream(Dump(dir)) << "of before\n"; }),
      Change("a link in place of the dump that is fetched", "fetch", smooth, "",
             [](const std::string& dir) { LinkTo(dir + "/victim", Dump(dir)); }),
      Change("a directory in place of the dump that is fetched", "fetch",
             OfFile("rename part", "shop"), "s a directory",
             [](const std::string& dir) {
               fs::remove(Dump(dir));
               fs::create_directory(Dump(dir));
             }),
      Change("the dump removed while it is fetched", "fetch", smooth, "",
             [](const std::string& dir) { fs::remove(Dump(dir)); }),
      Change("the dump removed before it is restored", "db.restore", restore, "not a dump",
             [](const std::string& dir) { fs::remove(Dump(dir)); }),
      Change("the dump cut short before it is restored", "db.restore", restore, "not a dump",
             [](const std::string& dir) { fs::resize_file(Dump(dir), 9); }),
      Change("a link in place of the public key", "ssh-keygen, done", OfFile("open public key"),
             "symbolic link",
             [](const std::string& dir) {
               GiveHomeAway(dir);
               LinkTo(dir + "/victim", PublicKey(dir));
             }),
      Change("a pipe in place of the public key", "ssh-keygen, done", OfFile("open public key"),
             "nvalid argument",
             [](const std::string& dir) {
               GiveHomeAway(dir);
               const std::string key = PublicKey(dir);
               fs::remove(key);
               mkfifo(key.c_str(), 0666);
             }),
      Change("the keys removed before the copy", "uname", smooth, "",
             [](const std::string& dir) {
               for (std::string key = PublicKey(dir); !key.empty(); key = PublicKey(dir)) {
                 fs::remove(key.substr(0, key.size() - 4));
                 fs::remove(key);
               }
             }),
      Change("no parameters file", "", OfFile("open parameters"), "o such file",
             [](const std::string& dir) { fs::remove(dir + "/params"); }),
      Change("a directory as the parameters file", "", OfFile("read parameters"), "s a directory",
             [](const std::string& dir) {
               fs::remove(dir + "/params");
               fs::create_directory(dir + "/params");
             }),
      Change("parameters that may not be read", "", OfFile("open parameters"), "ermission denied",
             [](const std::string& dir) {
               fs::permissions(dir + "/params", fs::perms(0600));
               BecomeNobody(dir);
             }),
      Change("parameters that may not be removed", "", OfFile("remove parameters"), "",
             BecomeNobody),
      Change("the parameters file removed by another", "auth", smooth, "",
             [](const std::string& dir) { fs::remove(dir + "/params"); }),
      Change("the parameters file swapped for a directory", "auth", OfFile("remove parameters"), "",
             [](const std::string& dir) {
               fs::remove(dir + "/params");
               fs::create_directory(dir + "/params");
             }),
      Change("the disk filled up", "fetch", OfFile("write part", "shop"), "o space left", FillDisk),
  };
  for (auto& change : changes) {
    const bool planted = change.name.rfind("a directory ", 0) == 0;
    if (planted && change.shows.object == "shop") change.leaves = "dump.shop";
    change.takes_params = change.name == "no parameters file";
    change.small_disk = change.change == FillDisk;
    if (change.small_disk) change.undo = EmptyDisk;
  }
  return changes;
}

}  // namespace

const std::vector<Fault>& FileFaultsOf(const std::string& key) {
  return OfOperation(key.substr(0, key.find(' ')));
}

const std::vector<Fault>& Changes() {
  static const std::vector<Fault> changes = MakeChanges();
  return changes;
}

}  // namespace faults
