#pragma once

#include <chrono>

#include "Process.h"

namespace qrb {

/// The steps in which a process that has to go is ended: SIGTERM, so that it can tidy up, and SIGKILL when its time for
/// that is over. Both go to its whole group where it has one of its own. It waits for nothing itself: whoever waits for
/// the process asks for the next step's time and calls `proceed` then.
class ProcessEnding {
 public:
  using Clock = std::chrono::steady_clock;
  /// Long enough for git to remove its lock files.
  static constexpr std::chrono::milliseconds usualPatience{2000};

  /// Sends SIGTERM.
  void begin(const Process& process, Clock::time_point now, std::chrono::milliseconds patience);
  /// Sends SIGKILL if the time for that has come; true when it has been sent just now.
  bool proceed(const Process& process, Clock::time_point now);
  /// SIGKILL without waiting any longer.
  void kill(const Process& process, Clock::time_point now);

  bool hasBegun() const { return _state != State::notBegun; }
  bool hasKilled() const { return _state == State::killed; }
  /// When SIGKILL is due, or was; the end of time where nothing has begun.
  Clock::time_point killTime() const { return _killTime; }

 private:
  enum class State { notBegun, asked, killed };
  State _state = State::notBegun;
  Clock::time_point _killTime = Clock::time_point::max();
};

}  // namespace qrb
