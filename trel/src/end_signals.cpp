#include "end_signals.h"

#include <sys/eventfd.h>

#include <cerrno>
#include <csignal>

#include "trel/trel_proc.h"

namespace {

volatile std::sig_atomic_t end_asked = 0;
int wakeup = -1;

void OnSignal(int) {
  const int saved = errno;
  end_asked = 1;
  eventfd_write(wakeup, 1);
  errno = saved;
}

}  // namespace

bool trel_seam::EndAsked() {
  return end_asked != 0;
}

int trel_seam::EndAskedDescriptor() {
  return wakeup;
}

void trel_proc::CatchEndSignals() {
  wakeup = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
  struct sigaction action {};
  action.sa_handler = OnSignal;
  action.sa_flags = SA_RESTART;
  for (const int signal : {SIGTERM, SIGINT, SIGHUP}) {
    struct sigaction before {};
    sigaction(signal, nullptr, &before);
    // Whoever started us with a signal ignored (nohup) wants us to outlive it.
    if (before.sa_handler != SIG_IGN) sigaction(signal, &action, nullptr);
  }
}
