#pragma once

#include <vector>

namespace net_test {

/// The descriptors of this process that are TCP connections to `port`.
std::vector<int> SocketsTo(int port);

/// Checks that there is one connection to `port` and that the kernel ends it when its peer is gone.
void ExpectDeadPeerIsNoticed(int port);

/// Checks that there is one connection to `port` and that the kernel sends small pieces on it at
/// once, without waiting for more.
void ExpectSmallPiecesAreSent(int port);

}  // namespace net_test
