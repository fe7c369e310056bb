#include "LaunchThreadPrivate.h"

#include <signal.h>

#include <cerrno>
#include <utility>

#include "BackgroundThread.h"
#include "Scarcity.h"

namespace qrb {

LaunchThread& LaunchThread::shared() {
  // Never destroyed: its thread uses it until the program has ended.
  static auto* thread = new LaunchThread;
  return *thread;
}

std::variant<Process, LaunchFailure> LaunchThread::launch(LaunchOptions options) {
  options.parentDeathSignal = SIGKILL;
  std::unique_lock lock(_mutex);
  if (!_serving) _serving = startBackgroundThread([this] { serve(); });
  if (!_serving) {
    return LaunchFailure{LaunchFailure::Step::prepare, EAGAIN, "no thread is left to launch \"" + options.path + '"'};
  }
  _changed.wait(lock, [this] { return !_busy; });
  _busy = true;
  _asked = &options;
  _changed.notify_all();
  _changed.wait(lock, [this] { return _outcome.has_value(); });
  Outcome outcome = std::move(*std::exchange(_outcome, std::nullopt));
  _busy = false;
  _changed.notify_all();
  return outcome;
}

void LaunchThread::serve() {
  std::unique_lock lock(_mutex);
  for (;;) {
    _changed.wait(lock, [this] { return _asked != nullptr; });
    const LaunchOptions& options = *std::exchange(_asked, nullptr);
    lock.unlock();
    Outcome outcome = LaunchFailure{LaunchFailure::Step::prepare, ENOMEM, "no memory is left to launch a process"};
    unlessScarce([&] { outcome = Process::launch(options); });
    lock.lock();
    _outcome.emplace(std::move(outcome));
    _changed.notify_all();
  }
}

}  // namespace qrb
