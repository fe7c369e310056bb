#pragma once

#include <atomic>
#include <functional>
#include <memory>
#include <string>
#include <tuple>
#include <utility>

#include "ConditionLock.h"
#include "OperationQueue.h"
#include "QRBSourceControlCallbacks.h"
#include "QRBSourceControlError.h"
#include "QRBSourceControlMultiCancellable.h"
#include "QRBSourceControlRepository.h"
#include "QRBSourceControlWorkspaceForward.h"
#include "Scarcity.h"
#include "ServiceConnectionPrivate.h"

namespace qrb {

/// The code of an action that could not begin or was given up between two steps; nothing more is said of it.
inline constexpr std::int64_t kActionAbandonedCode = -400;
Error actionAbandonedError();

/// A system that no request can be made of would leave its step waiting until somebody cancels.
bool canBeAsked(const QRBSourceControlRepository* repository);

namespace detail {

/// Where one step's answer waits for the thread that asked.
template <class... Values>
class StepReply {
 public:
  using Answer = std::tuple<Values..., Error>;

  explicit StepReply(std::string lockName) : _lock(std::move(lockName), kAwaited) {}

  bool isTaken() const { return _taken; }
  /// The first answer counts.
  void take(Values... values, Error error) {
    if (_taken.exchange(true)) return;
    _answer = Answer(std::move(values)..., std::move(error));
    _lock.lockWhenCondition(kAwaited);
    _lock.unlockWithCondition(kStored);
  }
  Answer await() {
    _lock.lockWhenCondition(kStored);
    _lock.unlockWithCondition(kConsumed);
    return std::move(_answer);
  }

 private:
  static constexpr long kAwaited = -1;
  static constexpr long kStored = -2;
  static constexpr long kConsumed = 0;

  ConditionLock _lock;
  std::atomic<bool> _taken = false;
  Answer _answer;
};

/// Held by a step's completion and by nothing else: a completion that is let go uncalled will not be called any more.
template <class... Values>
class StepPromise {
 public:
  explicit StepPromise(std::shared_ptr<StepReply<Values...>> reply) : _reply(std::move(reply)) {}
  ~StepPromise() {
    if (_reply->isTaken()) return;
    Error error = scarcityError();
    unlessScarce([&] { error = QRBSourceControlError_PlugInCommunicationFailure(); });
    keep(Values()..., std::move(error));
  }
  void keep(Values... values, Error error) { _reply->take(std::move(values)..., std::move(error)); }

 private:
  std::shared_ptr<StepReply<Values...>> _reply;
};

}  // namespace detail

/// An action of many requests, made one after another on a worker thread of its owner's queue: the thread asks, waits
/// for the reply on a condition lock, and goes on.
class SequentialAction {
 public:
  using Body = std::function<void(SequentialAction&)>;

  /// Queues the action and returns the handle that cancels it. The body runs exactly once, also when the action is
  /// cancelled before it has begun; it finds it abandoned then. `selector` outlives the action.
  static QRBSourceControlMultiCancellablePtr start(OperationQueue& queue, const char* selector, Body body);

  /// Whether the action was cancelled or its handle is gone; the body looks before each step.
  bool isAbandoned() const;

  /// Makes one request and waits for its answer: `ask` gets the completion and returns the request's handle. The
  /// request is finished then, and its process handed over to be waited for: with the end of the action nothing of it
  /// is left that nobody knows of. A step of an action that is cancelled meanwhile answers with the cancellation error.
  template <class... Values, class Ask>
  std::tuple<Values..., Error> step(const char* lockWord, Ask ask) {
    auto reply = std::make_shared<detail::StepReply<Values...>>(lockName(lockWord));
    QRBSourceControlCancellablePtr request = ask(completionFor(reply));
    setCurrentStep(request);
    auto answer = reply->await();
    seeOff(request);
    return answer;
  }
  /// Makes a request on a repository whose system may be one that nothing can be asked of.
  template <class... Values, class Ask>
  std::tuple<Values..., Error> step(const char* lockWord, const QRBSourceControlRepository* of, Ask ask) {
    if (!canBeAsked(of)) return {Values()..., QRBSourceControlError_SystemUnusable()};
    return step<Values...>(lockWord, std::move(ask));
  }

 private:
  SequentialAction(std::weak_ptr<QRBSourceControlMultiCancellable> handle, const char* selector)
      : _handle(std::move(handle)), _selector(selector) {}

  template <class... Values>
  static QRBSourceControlCompletionBlock<Values...> completionFor(
      const std::shared_ptr<detail::StepReply<Values...>>& reply) {
    auto promise = std::make_shared<detail::StepPromise<Values...>>(reply);
    return [promise](Values... values, Error error) { promise->keep(std::move(values)..., std::move(error)); };
  }
  std::string lockName(const char* lockWord) const;
  void setCurrentStep(const QRBSourceControlCancellablePtr& step);
  void seeOff(const QRBSourceControlCancellablePtr& step) const;

  const std::weak_ptr<QRBSourceControlMultiCancellable> _handle;
  const char* const _selector;
};

}  // namespace qrb
