#include "ssh_hostkey.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <fstream>

#include "descriptor.h"
#include "reason.h"

namespace trel_seam {
namespace {

namespace fs = std::filesystem;

using Text = std::unique_ptr<char, decltype(&ssh_string_free_char)>;

/// The key that the host showed.
SshKey HostKey(const SshSession& session) {
  ssh_key key = nullptr;
  if (ssh_get_server_publickey(session.get(), &key) != SSH_OK)
    throw session.Failure(SshStep::kHostKey, "no host key: " + session.Reason());
  return SshKey(key, ssh_key_free);
}

/// The key's type and fingerprint, as ssh-keygen -l shows it.
std::string Describe(const SshKey& key) {
  unsigned char* hash = nullptr;
  std::size_t size = 0;
  ssh_get_publickey_hash(key.get(), SSH_PUBLICKEY_HASH_SHA256, &hash, &size);
  const Text print(ssh_get_fingerprint_hash(SSH_PUBLICKEY_HASH_SHA256, hash, size),
                   ssh_string_free_char);
  ssh_clean_pubkey_hash(&hash);
  return std::string(ssh_key_type_to_char(ssh_key_type(key.get()))) + " " + print.get();
}

/// The line that the file would hold for this host: name, type and key.
std::string Entry(const SshSession& session) {
  char* line = nullptr;
  if (ssh_session_export_known_hosts_entry(session.get(), &line) != SSH_OK)
    throw session.Failure(SshStep::kHostKey, session.Reason());
  return Text(line, ssh_string_free_char).get();
}

/// Number of the line in `file` that speaks of the host: the one with a key of the type of `key`,
/// else the first.
int FindLine(const std::string& file, const std::string& host, const SshKey& key) {
  int first = 0;
  int number = 0;
  std::ifstream text(file);
  for (std::string line; std::getline(text, line);) {
    ++number;
    ssh_knownhosts_entry* entry = nullptr;
    if (ssh_known_hosts_parse_line(host.c_str(), line.c_str(), &entry) != SSH_OK) continue;
    const bool same_type = ssh_key_type(entry->publickey) == ssh_key_type(key.get());
    ssh_knownhosts_entry_free(entry);
    if (same_type) return number;
    if (first == 0) first = number;
  }
  return first;
}

/// The failure of a key that is not the one in the file.
SshFailure Mismatch(const SshSession& session, const std::string& file, const std::string& what) {
  const auto key = HostKey(session);
  const auto entry = Entry(session);
  const int line = FindLine(file, entry.substr(0, entry.find(' ')), key);
  return session.Failure(SshStep::kHostKey, what + ": it is now " + Describe(key) + ", see " +
                                                file + ":" + std::to_string(line));
}

/// Makes the directories above `file` that are missing, whatever the umask.
void MakeDirectory(const fs::path& dir) {
  if (dir.empty() || fs::exists(dir)) return;
  MakeDirectory(dir.parent_path());
  if (fs::create_directory(dir)) fs::permissions(dir, fs::perms(0755));
}

/// Opens `file` for reading and appending, and makes it when it is missing.
Descriptor OpenForAppend(const std::string& file) {
  constexpr int kFlags = O_RDWR | O_APPEND | O_CLOEXEC;
  Descriptor made(open(file.c_str(), kFlags | O_CREAT | O_EXCL, 0644));
  if (made) fchmod(made.get(), 0644);
  return made || errno != EEXIST ? std::move(made) : Descriptor(open(file.c_str(), kFlags));
}

/// True when the file does not end with a line feed: a line appended would join its last one.
bool LacksLineFeed(const Descriptor& file) {
  const auto size = lseek(file.get(), 0, SEEK_END);
  char last = '\n';
  return size > 0 && pread(file.get(), &last, 1, size - 1) == 1 && last != '\n';
}

/// Appends in one write, so that two processes that meet do not mix their lines. 0 or errno.
int Append(const std::string& path, const std::string& entry) {
  const auto file = OpenForAppend(path);
  if (!file) return errno;
  const auto text = (LacksLineFeed(file) ? "\n" : "") + entry;
  const auto written = write(file.get(), text.data(), text.size());
  if (written < 0) return errno;
  return static_cast<std::size_t>(written) == text.size() ? 0 : ENOSPC;
}

void Remember(const SshSession& session, const std::string& file) {
  auto entry = Entry(session);
  if (entry.empty() || entry.back() != '\n') entry += '\n';
  std::error_code error;
  try {
    MakeDirectory(fs::path(file).parent_path());
    error.assign(Append(file, entry), std::generic_category());
  } catch (const fs::filesystem_error& failure) {
    error = failure.code();
  }
  if (error) {
    throw session.Failure(SshStep::kHostKey, "the host key cannot be remembered in " + file + ": " +
                                                 ReasonOf(error.value()));
  }
}

}  // namespace

void CheckHostKey(const SshSession& session, const std::string& known_hosts, bool strict) {
  const auto state = ssh_session_is_known_server(session.get());
  if (state == SSH_KNOWN_HOSTS_OK) return;
  if (state == SSH_KNOWN_HOSTS_CHANGED)
    throw Mismatch(session, known_hosts, "the host key has changed");
  if (state == SSH_KNOWN_HOSTS_OTHER)
    throw Mismatch(session, known_hosts, "the host key is of another type than the known one");
  const bool is_new = state == SSH_KNOWN_HOSTS_NOT_FOUND || state == SSH_KNOWN_HOSTS_UNKNOWN;
  if (strict || !is_new) {
    throw session.Failure(SshStep::kHostKey, "the host key " + Describe(HostKey(session)) +
                                                 " is not in " + known_hosts);
  }
  Remember(session, known_hosts);
}

}  // namespace trel_seam
