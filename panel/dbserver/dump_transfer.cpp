#include "panel/dbserver/dump_transfer.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <system_error>

#include "panel/error.h"
#include "trel/str.h"

namespace panel::dbserver {
namespace {

constexpr std::size_t kPiece = std::size_t{256} << 10;
constexpr off_t kTail = 4096;

Error DumpError(const std::string& message) {
  return {"system", "dump", "", message};
}

std::size_t ReadAt(int file, std::span<char> buffer, off_t at) {
  const ssize_t size = pread(file, buffer.data(), buffer.size(), at);
  if (size < 0) {
    throw DumpError("reading the dump: " + std::generic_category().message(errno));
  }
  return static_cast<std::size_t>(size);
}

std::string Tail(int dump) {
  struct stat status {};
  if (fstat(dump, &status) != 0) {
    throw DumpError("reading the dump: " + std::generic_category().message(errno));
  }
  std::string tail(static_cast<std::size_t>(std::min(status.st_size, kTail)), '\0');
  tail.resize(ReadAt(dump, tail, std::max<off_t>(status.st_size - kTail, 0)));
  return tail;
}

class ClientDump : public DumpStream {
 public:
  ClientDump(const ClientCommand& command, std::string what)
      : client_(command, Client::Pipe::kOutput), what_(std::move(what)) {}

  std::size_t Read(std::span<char> buffer) override {
    const std::size_t size = done_ ? 0 : client_.Read(buffer);
    if (size == 0 && !done_) {
      client_.Finish("dump", what_);
      done_ = true;
    }
    return size;
  }

 private:
  Client client_;
  std::string what_;
  bool done_ = false;
};

}  // namespace

void RequireWhole(int dump, const std::string& end) {
  std::string tail = Tail(dump);
  bool whole = false;
  while (!tail.empty()) {
    const std::string line = str::GetWord(tail, '\n');
    const bool passes =
        line.starts_with("--") || line.starts_with("\\unrestrict ") || str::Trim(line).empty();
    whole = line.starts_with(end) || (whole && passes);
  }
  if (!whole) {
    throw DumpError("the dump is not whole: it does not end with '" + end + "'");
  }
}

void Transfer(int dump, DumpFilter& filter, const ClientCommand& command, const std::string& what) {
  Client client(command, Client::Pipe::kInput);
  std::string piece(kPiece, '\0');
  off_t at = 0;
  bool taken = true;
  while (const std::size_t size = taken ? ReadAt(dump, piece, at) : 0) {
    at += static_cast<off_t>(size);
    taken = client.Write(filter.Feed(std::string_view(piece).substr(0, size)));
  }
  // Where it stopped reading, its status says why.
  taken = taken && client.Write(filter.End());
  client.Finish("restore", what);
  if (!taken) {
    throw DumpError(what + ": the client stopped before the end of the dump");
  }
}

std::unique_ptr<DumpStream> StartDump(const ClientCommand& command, const std::string& what) {
  return std::make_unique<ClientDump>(command, what);
}

}  // namespace panel::dbserver
