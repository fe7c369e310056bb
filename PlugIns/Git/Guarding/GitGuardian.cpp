#include "GitGuardian.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <utility>

#include "GitLockFiles.h"
#include "GitProcesses.h"

namespace {

/// Nothing of this process may stay open in the other: the host would not see the end of its connection.
void keepOnly(int& first, int& second) {
  const int nothing = ::open("/dev/null", O_RDWR | O_CLOEXEC);
  first = ::fcntl(first, F_DUPFD, 10);
  if (second >= 0) second = ::fcntl(second, F_DUPFD, 10);
  for (int descriptor = 0; descriptor < 3; ++descriptor) ::dup2(nothing, descriptor);
  const auto close = [](int from, int to) {
    if (from <= to) ::syscall(SYS_close_range, static_cast<unsigned>(from), static_cast<unsigned>(to), 0U);
  };
  const int lower = second < 0 ? first : std::min(first, second);
  const int upper = second < 0 ? first : std::max(first, second);
  close(3, lower - 1);
  close(lower + 1, upper - 1);
  ::syscall(SYS_close_range, static_cast<unsigned>(upper + 1), ~0U, 0U);
  ::fcntl(first, F_SETFD, FD_CLOEXEC);
  if (second >= 0) ::fcntl(second, F_SETFD, FD_CLOEXEC);
}

/// Whether the other process has come to the end of its work, and was not cut off.
bool waitForEnd(int pipe) {
  char byte = 0;
  ssize_t count;
  do {
    count = ::read(pipe, &byte, 1);
  } while (count < 0 && errno == EINTR);
  return count > 0;
}

[[noreturn]] void standBy(const std::string& folder, const std::function<void()>& repair, const timespec& begin,
                          int pipe, int kept) {
  // What ends the group is meant for what it is made of, and not for who tidies up after it.
  for (const int signal : {SIGTERM, SIGINT, SIGHUP, SIGPIPE}) ::signal(signal, SIG_IGN);
  sigset_t none;
  ::sigemptyset(&none);
  ::pthread_sigmask(SIG_SETMASK, &none, nullptr);
  keepOnly(pipe, kept);
  if (waitForEnd(pipe)) ::_exit(0);
  const pid_t group = ::getpgrp();
  const pid_t self = ::getpid();
  const pid_t worker = ::fork();
  if (worker <= 0) {
    // In a session of its own, where nobody kills it half-way. This process stays in the group meanwhile, so that the
    // host's waiting for the group is a waiting for the work, as long as it goes on.
    if (worker == 0) ::setsid();
    if (!gitWaitForGroup(group, self)) ::_exit(1);
    if (!gitWorksIn(folder)) gitRemoveLockFiles(folder, begin);
    if (repair) repair();
    ::_exit(0);
  }
  while (::waitpid(worker, nullptr, 0) < 0 && errno == EINTR) {
  }
  ::_exit(0);
}

}  // namespace

GitGuardian::GitGuardian(std::string folder, std::function<void()> repair, int keptDescriptor) {
  qrb::DescriptorPair pipe = qrb::makePipe();
  if (!pipe) return;
  // The clock that files get their times from.
  timespec begin{};
  ::clock_gettime(CLOCK_REALTIME_COARSE, &begin);
  // What ends the group may come before the other process has said that it does not mind.
  sigset_t all;
  sigset_t previous;
  ::sigfillset(&all);
  ::pthread_sigmask(SIG_SETMASK, &all, &previous);
  _process = ::fork();
  if (_process != 0) ::pthread_sigmask(SIG_SETMASK, &previous, nullptr);
  if (_process == 0) {
    const int end = pipe.first.get();
    pipe.second.reset();
    standBy(folder, repair, begin, end, keptDescriptor);
  }
  if (_process > 0) _pipe = std::move(pipe.second);
}

GitGuardian::~GitGuardian() {
  if (_process < 0) return;
  const char done = 1;
  while (::write(_pipe.get(), &done, 1) < 0 && errno == EINTR) {
  }
  while (::waitpid(_process, nullptr, 0) < 0 && errno == EINTR) {
  }
}
