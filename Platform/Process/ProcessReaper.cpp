#include "ProcessReaper.h"

#include <signal.h>
#include <sys/epoll.h>
#include <sys/wait.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <utility>

#include "BackgroundThread.h"

namespace qrb {
namespace {

using namespace std::chrono_literals;

constexpr std::uint64_t eventIdentifier = 0;
constexpr auto longestBackOff = 50ms;
/// A killed process can be held up by the kernel (a dead network file system), and one whose new parent never reaps
/// stays in its group as a zombie: neither is ours to wait for without end.
constexpr auto longestWatchAfterKill = 10s;

/// Whether a signal ended the process, without taking its status.
bool crashed(const Process& process) {
  siginfo_t info;
  info.si_pid = 0;
  return ::waitid(P_PIDFD, static_cast<id_t>(process.pidfd()), &info, WEXITED | WNOHANG | WNOWAIT) == 0 &&
         info.si_pid != 0 && info.si_code != CLD_EXITED;
}

}  // namespace

ProcessReaper& ProcessReaper::shared() {
  // Never destroyed: processes may outlive the program's static objects.
  static auto* const reaper = new ProcessReaper;
  return *reaper;
}

int ProcessReaper::prepare() {
  std::lock_guard lock(_mutex);
  if (_epoll.valid()) {
    return 0;
  }
  FileDescriptor event = makeEvent();
  if (!event.valid()) {
    return errno;
  }
  FileDescriptor epoll(::epoll_create1(EPOLL_CLOEXEC));
  if (!epoll.valid()) {
    return errno;
  }
  epoll_event interest{};
  interest.events = EPOLLIN;
  interest.data.u64 = eventIdentifier;
  if (::epoll_ctl(epoll.get(), EPOLL_CTL_ADD, event.get(), &interest) != 0) {
    return errno;
  }
  _event = std::move(event);
  _epoll = std::move(epoll);
  return 0;
}

int ProcessReaper::start() {
  if (int error = prepare()) {
    return error;
  }
  std::lock_guard lock(_mutex);
  _threadRunning = _threadRunning || startBackgroundThread([this] { serve(false); });
  return _threadRunning ? 0 : EAGAIN;
}

void ProcessReaper::adopt(Process process, Policy policy, std::function<void(ExitStatus)> onExit) {
  adopt(std::move(process), policy, std::move(onExit), GracePeriods());
}

std::unique_ptr<ReaperPlace> ProcessReaper::makePlace() {
  auto place = std::make_unique<ReaperPlace>();
  Entries entries;
  entries.try_emplace(0);
  place->_node = entries.extract(entries.begin());
  return place;
}

void ProcessReaper::adopt(Process process, Policy policy, std::function<void(ExitStatus)> onExit, GracePeriods grace) {
  auto now = Clock::now();
  std::unique_ptr<ReaperPlace> place = std::move(process._place);
  Entry& entry = place->_node.mapped();
  entry.process = std::move(process);
  entry.onExit = std::move(onExit);
  entry.grace = grace;
  entry.exitTime = now + grace.exit;
  if (policy == Policy::forced) entry.process.kill(SIGKILL);
  if (policy != Policy::expectExit) entry.ending.begin(entry.process, now, grace.group);
  epoll_event interest{};
  interest.events = EPOLLIN;
  bool startThread = false;
  {
    std::lock_guard lock(_mutex);
    interest.data.u64 = place->_node.key() = ++_lastIdentifier;
    // Already reaped, no pidfd, or no room in epoll: then the clock takes the place of the event.
    if (entry.process.reaped() || ::epoll_ctl(_epoll.get(), EPOLL_CTL_ADD, entry.process.pidfd(), &interest) != 0) {
      entry.nextLook = now;
    }
    _entries.insert(std::move(place->_node));
    startThread = !std::exchange(_threadRunning, true);
  }
  if (!startThread) {
    signalEvent(_event);
    return;
  }
  if (!startBackgroundThread([this] { serve(false); })) {
    // The system has no thread to give, so this one does the work: being slow is better than leaving processes behind.
    serve(true);
  }
}

bool ProcessReaper::drain(std::chrono::milliseconds timeout) {
  std::unique_lock lock(_mutex);
  return _becameEmpty.wait_for(lock, timeout, [this] { return _entries.empty() && _callbacksRunning == 0; });
}

void ProcessReaper::serve(bool untilEmpty) {
  std::array<epoll_event, 64> events;
  for (;;) {
    int timeout;
    {
      std::lock_guard lock(_mutex);
      if (untilEmpty && _entries.empty()) {
        _threadRunning = false;
        return;
      }
      timeout = timeoutUntilNextStep();
    }
    int count = ::epoll_wait(_epoll.get(), events.data(), static_cast<int>(events.size()), timeout);
    auto now = Clock::now();
    for (int index = 0; index < count; ++index) {
      std::uint64_t identifier = events[static_cast<std::size_t>(index)].data.u64;
      if (identifier == eventIdentifier) {
        clearEvent(_event);
      } else {
        step(identifier, now);
      }
    }
    stepDue(now);
  }
}

/// Steps the entries whose time has come, and looks for each anew, since a step may take its entry away.
void ProcessReaper::stepDue(Clock::time_point now) {
  std::uint64_t identifier = 0;
  for (;;) {
    {
      std::lock_guard lock(_mutex);
      auto due = std::find_if(_entries.upper_bound(identifier), _entries.end(), [now](const auto& each) {
        const Entry& entry = each.second;
        return entry.nextLook <= now || entry.signalTime() <= now;
      });
      if (due == _entries.end()) {
        return;
      }
      identifier = due->first;
    }
    step(identifier, now);
  }
}

int ProcessReaper::timeoutUntilNextStep() const {
  auto next = Clock::time_point::max();
  for (const auto& [identifier, entry] : _entries) {
    next = std::min({next, entry.nextLook, entry.signalTime()});
  }
  if (next == Clock::time_point::max()) {
    return -1;
  }
  auto wait = std::chrono::ceil<std::chrono::milliseconds>(next - Clock::now()).count();
  return static_cast<int>(std::clamp<std::int64_t>(wait, 0, INT_MAX));
}

void ProcessReaper::step(std::uint64_t identifier, Clock::time_point now) {
  std::function<void(ExitStatus)> onExit;
  std::optional<ExitStatus> status;
  {
    std::lock_guard lock(_mutex);
    auto found = _entries.find(identifier);
    if (found == _entries.end()) {
      return;
    }
    Entry& entry = found->second;
    bool over = false;
    if (entry.state == State::awaitingExit && stepExit(entry, now)) {
      ::epoll_ctl(_epoll.get(), EPOLL_CTL_DEL, entry.process.pidfd(), nullptr);
      status = entry.process.tryReap();
      onExit = std::move(entry.onExit);
      over = entry.state != State::watchingGroup;
    }
    if (entry.state == State::watchingGroup) {
      over = stepGroup(entry, now);
    }
    if (over) {
      _entries.erase(found);
    }
    ++_callbacksRunning;
  }
  if (status && onExit) {
    onExit(*status);
    // What the callback holds is released before drain() returns.
    onExit = nullptr;
  }
  std::lock_guard lock(_mutex);
  if (--_callbacksRunning == 0 && _entries.empty()) {
    _becameEmpty.notify_all();
  }
}

/// True once the process itself is over.
bool ProcessReaper::stepExit(Entry& entry, Clock::time_point now) {
  // While the leader is not reaped nobody else can get its number, so signals go out before the status is taken.
  if (entry.ending.hasBegun()) {
    entry.ending.proceed(entry.process, now);
  } else if (entry.exitTime <= now) {
    entry.process.kill(SIGKILL);
    entry.ending.begin(entry.process, now, entry.grace.group);
  } else if (crashed(entry.process)) {
    entry.ending.begin(entry.process, now, entry.grace.group);
  }
  if (!entry.process.tryReap()) {
    if (entry.nextLook <= now) {
      lookLater(entry, now);
    }
    return false;
  }
  if (entry.ending.hasBegun() && entry.process.hasOwnGroup()) {
    entry.state = State::watchingGroup;
    entry.backOff = 1ms;
  }
  return true;
}

/// True once the group is empty, or past hope.
bool ProcessReaper::stepGroup(Entry& entry, Clock::time_point now) {
  // A program that adopts orphans (PR_SET_CHILD_SUBREAPER) gets the members as children of its own; they are ours to
  // reap, since nobody else knows of them.
  siginfo_t info;
  do {
    info.si_pid = 0;
  } while (::waitid(P_PGID, static_cast<id_t>(entry.process.pid()), &info, WEXITED | WNOHANG) == 0 && info.si_pid != 0);
  if (entry.ending.proceed(entry.process, now)) {
    entry.backOff = 1ms;
  }
  if (!entry.process.signalGroup(0)) {
    return true;
  }
  if (entry.ending.hasKilled() && now - entry.ending.killTime() > longestWatchAfterKill) {
    return true;
  }
  lookLater(entry, now);
  return false;
}

void ProcessReaper::lookLater(Entry& entry, Clock::time_point now) {
  entry.nextLook = now + entry.backOff;
  entry.backOff = std::min<std::chrono::milliseconds>(entry.backOff * 2, longestBackOff);
}

}  // namespace qrb
