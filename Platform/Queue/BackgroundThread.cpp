#include "BackgroundThread.h"

#include <pthread.h>
#include <signal.h>

#include <thread>
#include <utility>

#include "Scarcity.h"

namespace qrb {

bool startBackgroundThread(std::function<void()> body) {
  sigset_t blocked;
  sigset_t previous;
  ::sigfillset(&blocked);
  for (int fault : {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGTRAP, SIGABRT, SIGSYS}) {
    ::sigdelset(&blocked, fault);
  }
  // A thread inherits the mask of the one that starts it, so no signal can slip in before it has set its own.
  ::pthread_sigmask(SIG_BLOCK, &blocked, &previous);
  bool started = unlessScarce([&] { std::thread(std::move(body)).detach(); });
  ::pthread_sigmask(SIG_SETMASK, &previous, nullptr);
  return started;
}

}  // namespace qrb
