#pragma once

#include <chrono>

namespace host {

/// What the main thread waits for while requests run: their news, the user's wish to stop, and the end of whoever reads
/// the output. To be made before the program starts any thread, because it blocks the signals it reads for all of them.
class EventLoop {
 public:
  enum class Event { woken, interrupted, readerGone, timeout };

  EventLoop();
  EventLoop(const EventLoop&) = delete;
  EventLoop& operator=(const EventLoop&) = delete;

  /// Ends the present or next wait. Any thread.
  void wake();
  /// The next event. Being interrupted (SIGINT, SIGTERM, SIGHUP, unless the program was started with them ignored) and
  /// a reader that has gone are reported once each.
  Event wait(std::chrono::milliseconds timeout);

 private:
  int _signals = -1;
  int _wakeUps = -1;
  bool _readerGone = false;
};

}  // namespace host
