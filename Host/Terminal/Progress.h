#pragma once

#include <chrono>
#include <mutex>
#include <string>

namespace host {

/// One line on standard error that says how far long work has got; nothing where that is no terminal, and nothing for
/// work that is soon done. Any thread.
class Progress {
 public:
  Progress();

  /// Work begins; `label` is shown as long as nothing better is known.
  void start(std::string label);
  /// A fraction of 0 means that how much there is to do is not known.
  void update(std::string text, double fraction);
  /// Draws when it is time to; to be called at least every `interval`.
  void tick();
  /// Takes the line away, for something else to be printed. It comes back with a later tick.
  void clear();
  /// Work is over.
  void stop();

  static constexpr std::chrono::milliseconds interval{100};
  bool isShown() const { return _isTerminal; }

 private:
  using Clock = std::chrono::steady_clock;
  void clearLocked();

  const bool _isTerminal;
  std::mutex _mutex;
  bool _running = false;
  bool _drawn = false;
  Clock::time_point _started;
  Clock::time_point _lastDrawn;
  std::string _text;
  double _fraction = 0;
};

}  // namespace host
