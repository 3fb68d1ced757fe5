#pragma once

#include <httplib.h>

#include <memory>
#include <string>
#include <thread>

#include "panel/listen_address.h"
#include "panel/panel.h"

namespace panel {

/// A certificate chain and its private key, in PEM files.
struct TlsFiles {
  std::string cert;
  std::string key;
};

/// One listening address of the panel, served by threads of its own from Start to Stop.
class Server {
 public:
  /// Serves a Unix-domain socket that its owner alone can connect to: `account`, or whoever runs
  /// this when that is empty. A socket file that nobody serves any more is replaced. Throws
  /// std::runtime_error when the path is served already, is no socket, or cannot be bound.
  /// REQUIRES: no other thread makes files meanwhile (the process's umask changes for a moment).
  static std::unique_ptr<Server> OnSocket(Panel& panel, const std::string& path,
                                          const std::string& account);
  /// Serves HTTPS on a TCP address, HTTP when `tls` is null. Throws std::runtime_error when the
  /// address cannot be bound or the files are not usable.
  static std::unique_ptr<Server> OnAddress(Panel& panel, const ListenAddress& address,
                                           const TlsFiles* tls);
  /// Stops, and removes the socket file.
  ~Server();

  /// Callers connect here: "unix:PATH", or a URL with the real port.
  const std::string& name() const { return name_; }
  /// Returns when calls are answered. `ended` is run when serving ends, for whatever reason.
  void Start(std::function<void()> ended);
  /// Takes no more connections. Calls that are being answered go on until the end of its life.
  void Stop();

 private:
  Server(Panel& panel, std::unique_ptr<httplib::Server> http);

  std::unique_ptr<httplib::Server> http_;
  std::string name_;
  std::string socket_file_;
  std::thread thread_;
};

/// Ends what is still to be read on all connections of this process, so that connections that wait
/// for a next query end. Answers can still be written.
void EndIdleConnections();

}  // namespace panel
