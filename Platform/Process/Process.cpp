#include "Process.h"

#include <signal.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <utility>

#include "ProcessReaper.h"

namespace qrb {

std::string ExitStatus::description() const {
  switch (kind) {
    case Kind::exited:
      return "exit code " + std::to_string(value);
    case Kind::signalled: {
      std::string number = "signal " + std::to_string(value);
      const char* name = ::sigabbrev_np(value);
      const char* meaning = ::sigdescr_np(value);
      // Real-time signals have neither.
      return name && meaning ? number + " (SIG" + name + ", " + meaning + ")" : number;
    }
    case Kind::unknown:
      break;
  }
  return "status unknown";
}

Process::Process() noexcept = default;

Process::Process(pid_t pid, FileDescriptor pidfd, bool ownGroup, std::unique_ptr<ReaperPlace> place)
    : _pid(pid), _pidfd(std::move(pidfd)), _ownGroup(ownGroup), _place(std::move(place)) {}

Process::Process(Process&& other) noexcept
    : _pid(std::exchange(other._pid, -1)),
      _pidfd(std::move(other._pidfd)),
      _ownGroup(other._ownGroup),
      _reaped(other._reaped),
      _status(other._status),
      _place(std::move(other._place)) {}

Process& Process::operator=(Process&& other) noexcept {
  if (this != &other) {
    Process replaced(std::move(*this));
    _pid = std::exchange(other._pid, -1);
    _pidfd = std::move(other._pidfd);
    _ownGroup = other._ownGroup;
    _reaped = other._reaped;
    _status = other._status;
    _place = std::move(other._place);
  }
  return *this;
}

Process::~Process() {
  if (_place != nullptr && !_reaped && !tryReap()) {
    ProcessReaper::shared().adopt(std::move(*this), ProcessReaper::Policy::forced);
  }
}

bool Process::kill(int signal) const {
  return _pidfd.valid() && ::syscall(SYS_pidfd_send_signal, _pidfd.get(), signal, nullptr, 0) == 0;
}

bool Process::signalGroup(int signal) const {
  return _pid > 0 && _ownGroup && ::kill(-_pid, signal) == 0;
}

std::optional<ExitStatus> Process::tryReap() {
  return reap(WNOHANG);
}

ExitStatus Process::wait() {
  return *reap(0);
}

std::optional<ExitStatus> Process::peek() const {
  return _reaped || _pid <= 0 ? _status : look(WNOHANG | WNOWAIT);
}

std::optional<ExitStatus> Process::reap(int flags) {
  if (_reaped || _pid <= 0) {
    return _status;
  }
  std::optional<ExitStatus> status = look(flags);
  if (status) {
    _status = *status;
    _reaped = true;
  }
  return status;
}

std::optional<ExitStatus> Process::look(int flags) const {
  siginfo_t info;
  int result;
  do {
    std::memset(&info, 0, sizeof info);
    result = ::waitid(P_PIDFD, static_cast<id_t>(_pidfd.get()), &info, WEXITED | flags);
  } while (result != 0 && errno == EINTR);
  if (result == 0 && info.si_pid == 0) {
    return std::nullopt;
  }
  // Any failure (ECHILD in practice) means that somebody else took the status, or the system itself because SIGCHLD is
  // ignored: the process is over all the same.
  ExitStatus status;
  if (result == 0) {
    status.kind = info.si_code == CLD_EXITED ? ExitStatus::Kind::exited : ExitStatus::Kind::signalled;
    status.value = info.si_status;
  }
  return status;
}

}  // namespace qrb
