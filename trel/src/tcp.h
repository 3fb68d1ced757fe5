#pragma once

namespace trel_seam {

/// Lets the kernel end a connection whose peer is gone: within 20 s, whether it is idle or holds
/// data that nobody acknowledges. A socket that is no TCP socket is left as it is.
void NoticeDeadPeer(int socket) noexcept;

/// Has the socket closed in every program that this process starts. For libraries that make sockets
/// which are not.
void CloseOnExec(int socket) noexcept;

}  // namespace trel_seam
