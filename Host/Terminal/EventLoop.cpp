#include "EventLoop.h"

#include <poll.h>
#include <signal.h>
#include <sys/eventfd.h>
#include <sys/signalfd.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <system_error>

#include "Interruption.h"

namespace host {

namespace {

int checked(int result, const char* what) {
  if (result < 0) throw std::system_error(errno, std::generic_category(), what);
  return result;
}

}  // namespace

EventLoop::EventLoop() {
  sigset_t stopping = stoppingSignals();
  ::signal(SIGPIPE, SIG_IGN);
  checked(::sigprocmask(SIG_BLOCK, &stopping, nullptr), "sigprocmask");
  _signals = checked(::signalfd(-1, &stopping, SFD_CLOEXEC | SFD_NONBLOCK), "signalfd");
  _wakeUps = checked(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK), "eventfd");
}

void EventLoop::wake() {
  std::uint64_t one = 1;
  // Fails only when a wake-up is pending already.
  [[maybe_unused]] ssize_t written = ::write(_wakeUps, &one, sizeof one);
}

EventLoop::Event EventLoop::wait(std::chrono::milliseconds timeout) {
  // Nothing is asked of the output: a pipe reports by itself that its reader has gone.
  pollfd sources[] = {{_signals, POLLIN, 0}, {_wakeUps, POLLIN, 0}, {_readerGone ? -1 : STDOUT_FILENO, 0, 0}};
  if (::poll(sources, 3, static_cast<int>(timeout.count())) <= 0) return Event::timeout;
  if ((sources[0].revents & POLLIN) != 0) {
    signalfd_siginfo info;
    if (::read(_signals, &info, sizeof info) == static_cast<ssize_t>(sizeof info)) {
      noteInterruption(static_cast<int>(info.ssi_signo));
      return Event::interrupted;
    }
  }
  if ((sources[2].revents & POLLERR) != 0) {
    _readerGone = true;
    return Event::readerGone;
  }
  std::uint64_t count = 0;
  return ::read(_wakeUps, &count, sizeof count) > 0 ? Event::woken : Event::timeout;
}

}  // namespace host
