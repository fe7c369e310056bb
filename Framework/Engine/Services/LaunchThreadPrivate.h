#pragma once

#include <condition_variable>
#include <mutex>
#include <optional>
#include <variant>

#include "Process.h"

namespace qrb {

/// Launches processes that the system ends with this one, whatever they are doing. The system ties that to the thread
/// that launches, so there is one that stays as long as the program. Any thread may ask it.
class LaunchThread {
 public:
  static LaunchThread& shared();

  /// As Process::launch; LaunchOptions::parentDeathSignal is SIGKILL.
  std::variant<Process, LaunchFailure> launch(LaunchOptions options);

 private:
  using Outcome = std::variant<Process, LaunchFailure>;

  void serve();

  std::mutex _mutex;
  std::condition_variable _changed;
  bool _serving = false;
  /// One at a time: who asks waits for his turn.
  bool _busy = false;
  const LaunchOptions* _asked = nullptr;
  std::optional<Outcome> _outcome;
};

}  // namespace qrb
