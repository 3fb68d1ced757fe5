#pragma once

namespace trel_seam {

/// Lets the kernel end a connection whose peer is gone: within 20 s, whether it is idle or holds
/// data that nobody acknowledges. A socket that is no TCP socket is left as it is.
void NoticeDeadPeer(int socket) noexcept;

}  // namespace trel_seam
