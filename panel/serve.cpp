#include <csignal>
#include <iostream>
#include <stdexcept>

#include "panel/commands.h"
#include "panel/server.h"

namespace panel::commands {
namespace {

using Servers = std::vector<std::unique_ptr<Server>>;

// The signals that end the server, held back from every thread that is started while it lives.
class EndSignals {
 public:
  EndSignals() {
    sigemptyset(&set_);
    sigaddset(&set_, SIGTERM);
    sigaddset(&set_, SIGINT);
    pthread_sigmask(SIG_BLOCK, &set_, nullptr);
  }

  void Wait() const {
    int signal = 0;
    sigwait(&set_, &signal);
  }

 private:
  sigset_t set_{};
};

Servers Listen(Panel& panel, const ServeOptions& options) {
  Servers servers;
  if (options.role.side == Side::kLocal) {
    servers.push_back(Server::OnSocket(panel, options.socket, options.account));
    return servers;
  }
  const TlsFiles tls{options.cert, options.key};
  for (const ListenAddress& address : options.listen) {
    servers.push_back(Server::OnAddress(panel, address, options.plain ? nullptr : &tls));
  }
  return servers;
}

}  // namespace

void Serve(const ServeOptions& options) {
  const EndSignals signals;
  State state(options.state, Database::Open::kCreate);
  Panel panel(options.role, state, options.endpoints);
  Servers servers = Listen(panel, options);
  std::atomic<bool> ending = false;
  std::atomic<bool> broken = false;
  for (const auto& server : servers) {
    server->Start([&] {
      // Serving ends by a signal; where it ends by itself the rest ends with it.
      if (!ending.exchange(true)) {
        broken = true;
        kill(getpid(), SIGTERM);
      }
    });
  }
  for (const auto& server : servers) {
    std::cout << "refpanel: ready on " << server->name() << std::endl;
  }
  signals.Wait();
  ending = true;
  for (const auto& server : servers) {
    server->Stop();
  }
  EndIdleConnections();
  servers.clear();
  if (broken) {
    throw std::runtime_error("connections could not be taken any more");
  }
}

}  // namespace panel::commands
