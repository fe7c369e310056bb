#include "Interruption.h"

#include <unistd.h>

#include <atomic>

namespace host {

namespace {

constexpr int kStopping[] = {SIGINT, SIGTERM, SIGHUP};

std::atomic<int> noted = 0;

bool isIgnored(int signal) {
  struct sigaction action {};
  return ::sigaction(signal, nullptr, &action) == 0 && action.sa_handler == SIG_IGN;
}

}  // namespace

sigset_t stoppingSignals() {
  sigset_t stopping;
  ::sigemptyset(&stopping);
  for (int signal : kStopping) {
    if (!isIgnored(signal)) ::sigaddset(&stopping, signal);
  }
  return stopping;
}

void noteInterruption(int signal) {
  int none = 0;
  noted.compare_exchange_strong(none, signal);
}

void endIfInterrupted() {
  // What came while nobody looked waits to be delivered.
  if (int signal = noted) ::raise(signal);
  sigset_t stopping = stoppingSignals();
  ::pthread_sigmask(SIG_UNBLOCK, &stopping, nullptr);
}

}  // namespace host
