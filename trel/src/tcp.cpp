#include "tcp.h"

#include <fcntl.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>

namespace trel_seam {

void NoticeDeadPeer(int socket) noexcept {
  // An option that cannot be set leaves the kernel's default, and the connection works all the
  // same: there is nobody to tell.
  const auto set = [socket](int level, int option, int value) {
    setsockopt(socket, level, option, &value, sizeof value);
  };
  set(SOL_SOCKET, SO_KEEPALIVE, 1);
  set(IPPROTO_TCP, TCP_KEEPIDLE, 5);
  set(IPPROTO_TCP, TCP_KEEPINTVL, 5);
  set(IPPROTO_TCP, TCP_KEEPCNT, 3);
  // Keepalive is silent while data waits to be acknowledged; this limit is not.
  set(IPPROTO_TCP, TCP_USER_TIMEOUT, 15'000);
}

void CloseOnExec(int socket) noexcept {
  fcntl(socket, F_SETFD, FD_CLOEXEC);
}

}  // namespace trel_seam
