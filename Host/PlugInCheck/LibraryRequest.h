#pragma once

#include <condition_variable>
#include <mutex>
#include <stop_token>
#include <thread>

#include "ErrorPrinting.h"
#include "ExampleChecks.h"
#include "QRBSourceControlCancellable.h"
#include "QRBSourceControlError.h"

namespace host {

/// Cancels a request that has not been answered in time.
class TimeLimit {
 public:
  TimeLimit(QRBSourceControlCancellablePtr request, std::chrono::milliseconds limit)
      : _thread([this, limit, request = std::move(request)](const std::stop_token& stop) {
          std::unique_lock lock(_mutex);
          _condition.wait_for(lock, stop, limit, [] { return false; });
          if (stop.stop_requested()) return;
          _isOver = true;
          if (request) request->cancel();
        }) {}

  bool isOver() const { return _isOver; }

 private:
  std::atomic<bool> _isOver = false;
  std::mutex _mutex;
  std::condition_variable_any _condition;
  std::jthread _thread;
};

/// What the library's answer is worth: no error, an error that a plug-in may give, or one that shows it to be at fault.
Verdict verdictOf(PlugInAtWork& work, const qrb::Error& error, bool isLate);

/// Makes one request of the library within the time limit. `start` gets the completion. The values are there where the
/// verdict is that all is well and there was no error.
template <class... R, class Start>
std::optional<std::tuple<R...>> askLibrary(PlugInAtWork& work, Verdict& verdict, Start start) {
  auto values = std::make_shared<std::tuple<R...>>();
  std::optional<TimeLimit> limit;
  qrb::Error error = work.session.perform("Checking", [&](Session::Done done) {
    QRBSourceControlCancellablePtr request = start([values, done](R... value, qrb::Error failure) {
      *values = std::tuple<R...>(std::move(value)...);
      done(std::move(failure));
    });
    limit.emplace(request, work.limit);
    return request;
  });
  verdict = verdictOf(work, error, limit->isOver());
  if (error) return std::nullopt;
  return *values;
}

}  // namespace host
