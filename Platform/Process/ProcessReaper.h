#pragma once

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>

#include "Process.h"
#include "ProcessEnding.h"

namespace qrb {

/// Takes over processes that nobody waits for any more and sees to their end: no zombie, no descriptor and, where
/// asked, no member of their group is left. One per program, never destroyed; its thread starts with the first adopted
/// process. It waits on pidfds only, so a program's own children and SIGCHLD handling are not disturbed. Any thread may
/// call it.
class ProcessReaper {
 public:
  enum class Policy {
    /// The process has been told to end: wait for it, and after the grace period go on as with `forced`. Its group is
    /// left alone when it exits by itself, swept when a signal ended it.
    expectExit,
    /// SIGKILL to the process and SIGTERM to the rest of its group, both before adopt() returns, so that its tools can
    /// clean up; after the grace period SIGKILL to whatever is left of the group.
    forced,
    /// The process ended on its own against expectation: as `forced`, but its own status is awaited, not made. When it
    /// still runs after the grace period it is killed.
    diedAlready,
  };

  struct GracePeriods {
    /// How long `expectExit` lets a process run on.
    std::chrono::milliseconds exit{5000};
    /// How long the members of a group may take over their SIGTERM.
    std::chrono::milliseconds group = ProcessEnding::usualPatience;
  };

  static ProcessReaper& shared();

  /// Room for one process. Process::launch takes it before the process exists, so that adopt() needs no memory.
  static std::unique_ptr<ReaperPlace> makePlace();

  /// Owns the process from now on. `onExit` is called once with its status, on the reaper's thread, when the process
  /// itself is over; members of its group may still be running then. It must not block; it may adopt.
  void adopt(Process process, Policy policy, std::function<void(ExitStatus)> onExit = {});
  void adopt(Process process, Policy policy, std::function<void(ExitStatus)> onExit, GracePeriods grace);

  /// Blocks until nothing is adopted any more, groups included, and every `onExit` has returned; false when that took
  /// longer than `timeout`. Not from `onExit`.
  bool drain(std::chrono::milliseconds timeout);

  /// Makes what adopt() needs, so that adopt() cannot fail for want of descriptors. 0, or the errno of the failure.
  int prepare();
  /// Makes the thread as well, so that adopt() cannot fail for want of one either and never waits. 0, or the errno.
  int start();

 private:
  using Clock = ProcessEnding::Clock;

  friend class ReaperPlace;
  enum class State { awaitingExit, watchingGroup };

  struct Entry {
    Process process = {};
    std::function<void(ExitStatus)> onExit = {};
    GracePeriods grace = {};
    State state = State::awaitingExit;
    /// How long the process may run on by itself.
    Clock::time_point exitTime = {};
    /// Once it has begun, the group is to be empty in the end.
    ProcessEnding ending = {};
    /// The next look at what no descriptor tells: a group, or a process that epoll did not take.
    Clock::time_point nextLook = Clock::time_point::max();
    std::chrono::milliseconds backOff{1};

    /// When the next signal goes out.
    Clock::time_point signalTime() const {
      if (ending.hasKilled()) return Clock::time_point::max();
      return ending.hasBegun() ? ending.killTime() : exitTime;
    }
  };
  using Entries = std::map<std::uint64_t, Entry>;

  ProcessReaper() = default;
  ~ProcessReaper() = delete;

  void serve(bool untilEmpty);
  int timeoutUntilNextStep() const;
  void stepDue(Clock::time_point now);
  void step(std::uint64_t identifier, Clock::time_point now);
  bool stepExit(Entry& entry, Clock::time_point now);
  bool stepGroup(Entry& entry, Clock::time_point now);
  static void lookLater(Entry& entry, Clock::time_point now);

  std::mutex _mutex;
  std::condition_variable _becameEmpty;
  Entries _entries;
  std::uint64_t _lastIdentifier = 0;
  unsigned int _callbacksRunning = 0;
  bool _threadRunning = false;
  FileDescriptor _epoll;
  FileDescriptor _event;
};

/// An entry of the reaper that is not in its table yet.
class ReaperPlace {
  friend class ProcessReaper;
  ProcessReaper::Entries::node_type _node;
};

}  // namespace qrb
