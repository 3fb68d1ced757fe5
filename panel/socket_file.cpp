#include "panel/socket_file.h"

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <stdexcept>
#include <system_error>

#include "panel/descriptor.h"

namespace panel {
namespace {

std::runtime_error SocketError(const std::string& path, const std::string& message) {
  return std::runtime_error("socket " + path + ": " + message);
}

// 0 when somebody took the connection, else why not.
int TryConnect(const std::string& path) {
  const Descriptor client(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  path.copy(address.sun_path, sizeof(address.sun_path) - 1);
  return connect(client.get(), reinterpret_cast<const sockaddr*>(&address), sizeof(address)) == 0
             ? 0
             : errno;
}

}  // namespace

void ClearSocketPath(const std::string& path) {
  if (path.empty() || path.size() >= sizeof(sockaddr_un::sun_path)) {
    throw SocketError(path, "the path must have 1 to " +
                                std::to_string(sizeof(sockaddr_un::sun_path) - 1) + " bytes");
  }
  const std::filesystem::path file(path);
  if (file.has_parent_path()) {
    std::filesystem::create_directories(file.parent_path());
  }
  const std::filesystem::file_status status = std::filesystem::symlink_status(file);
  if (!std::filesystem::exists(status)) {
    return;
  }
  if (!std::filesystem::is_socket(status)) {
    throw SocketError(path, "there is something else than a socket");
  }
  const int error = TryConnect(path);
  if (error == 0) {
    throw SocketError(path, "served by another process");
  }
  if (error != ECONNREFUSED) {
    throw SocketError(path, std::generic_category().message(error));
  }
  std::filesystem::remove(file);
}

}  // namespace panel
