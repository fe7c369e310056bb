#pragma once

#include <atomic>
#include <functional>
#include <memory>
#include <tuple>
#include <utility>

#include "QRBSourceControlError.h"
#include "QRBSourceControlManager.h"
#include "QRBSourceControlModelPrivate.h"
#include "QRBSourceControlProxyPrivate.h"
#include "RequestWordsPrivate.h"
#include "Scarcity.h"
#include "ServiceConnectionPrivate.h"
#include "WorkingCopyGuardPrivate.h"

/// The one pattern of every request to a plug-in or a helper service. Private to the manager's sources.
namespace qrb::request {

/// What names a request's system, and what the failure handler is told. A repository may come or change while the
/// request waits, so it is looked up each time.
struct Subject {
  std::function<QRBSourceControlSystemPtr()> system;
  std::function<QRBSourceControlRepositoryPtr()> repository;
  /// Set for a request that a helper service answers instead of a system's plug-in.
  std::function<QRBSourceControlProxy(QRBSourceControlManager&, const QRBSourceControlOperationPtr&)> service = nullptr;
};

inline Subject of(const QRBSourceControlRepositoryPtr& repository) {
  return {[repository] { return repository ? repository->sourceControlSystem() : nullptr; },
          [repository] { return repository; }};
}

inline Subject of(const QRBSourceControlWorkingCopyPtr& workingCopy) {
  auto repository = [workingCopy] { return workingCopy ? workingCopy->repository() : nullptr; };
  return {[repository] {
            auto found = repository();
            return found ? found->sourceControlSystem() : nullptr;
          },
          repository};
}

/// A request that names its system itself has no repository and so no authentication routing.
inline Subject of(const QRBSourceControlSystemPtr& system) {
  return {[system] { return system; }, [] { return QRBSourceControlRepositoryPtr(); }};
}

inline Subject ofService(QRBSourceControlProxy (QRBSourceControlManager::*proxy)(const QRBSourceControlOperationPtr&)) {
  return {[] { return QRBSourceControlSystemPtr(); }, [] { return QRBSourceControlRepositoryPtr(); },
          [proxy](QRBSourceControlManager& manager, const QRBSourceControlOperationPtr& operation) {
            return (manager.*proxy)(operation);
          }};
}

struct Options {
  bool suppressAuthenticationFailure = false;
  /// The operation's identifier is sent as the message's last argument.
  bool sendsProgressIdentifier = false;
  QRBSourceControlProgressBlock progressBlock;
  QRBSourceControlIncrementalLogBlock incrementalLogBlock;
  /// Set for a request that makes a working copy.
  std::shared_ptr<WorkingCopyGuard> guard;
};

/// Who may answer the caller, and the caller's side. Reply, loss of the process, cancellation and the failure handler's
/// answer may come from different threads at once; each must first take the request out of the state it acts on, and
/// only one can. Who settles it takes over what the caller has given: a helper service that has yet to reply to a
/// request that was cancelled holds on to this alone.
template <class... R>
class Settlement {
 public:
  enum class State { awaitingReply, asking, settled };
  using Completion = std::function<void(R..., Error)>;

  Settlement(Subject subject, Completion completion)
      : _subject(std::move(subject)), _completion(std::move(completion)) {}

  bool move(State from, State to) { return _state.compare_exchange_strong(from, to); }
  /// From whatever state it is in; false when it was settled already.
  bool settle() { return _state.exchange(State::settled) != State::settled; }

  /// Null once the request is settled.
  QRBSourceControlRepositoryPtr repository() const {
    auto repository = _subject.with([](const Subject& subject) { return subject.repository; });
    return repository ? repository() : nullptr;
  }

  /// To be called by who has settled it, with an error or with values. Once called the caller has been answered,
  /// whatever he lacks memory for himself.
  void fail(const Error& error) {
    if (Completion completion = take()) unlessScarce([&] { completion(R()..., error); });
  }
  /// The caller gets values of his own. They are made first, so that what they lack is told as an error.
  void succeed(const R&... value) {
    Completion completion = take();
    if (!completion) return;
    bool called = false;
    const bool done = unlessScarce([&] {
      std::tuple<R...> values(value...);
      called = true;
      std::apply([&](R&... own) { completion(std::move(own)..., Error()); }, values);
    });
    if (!done && !called) unlessScarce([&] { completion(R()..., scarcityError()); });
  }

 private:
  Completion take() {
    Subject subject;
    _subject.with([&](Subject& held) { std::swap(held, subject); });
    return std::exchange(_completion, nullptr);
  }

  std::atomic<State> _state = State::awaitingReply;
  Guarded<Subject> _subject;
  Completion _completion;
};

inline bool isAuthenticationFailure(const Error& error) {
  return error && error.code() < -999;
}

inline bool isUnsupportedRequest(const Error& error) {
  return error && error.code() == static_cast<std::int64_t>(QRBSourceControlErrorCode::requestUnsupported) &&
         error.domain().view() == QRBSourceControlErrorDomain;
}

template <class... A, class... R>
QRBSourceControlOperationPtr start(const QRBSourceControlManagerPtr& onManager,
                                   const Message<Arguments<A...>, Reply<R...>>& message, Subject subject,
                                   Options options, std::type_identity_t<std::function<void(R..., Error)>> completion,
                                   std::type_identity_t<std::tuple<A...>> arguments) {
  using State = typename Settlement<R...>::State;
  auto settlement = std::make_shared<Settlement<R...>>(subject, std::move(completion));
  bool sendsIdentifier = options.sendsProgressIdentifier;
  std::shared_ptr<WorkingCopyGuard> guard = std::move(options.guard);
  QRBSourceControlSystemPtr system = subject.system();

  // Whatever the plug-in says of it, people are told who cannot do what.
  auto unsupported = [system, &message] {
    return QRBSourceControlError_RequestUnsupported(system ? system->name() : String(),
                                                    wordsForRequest(message.selector), message.selector);
  };
  auto block = [=, &message, subject = std::move(subject), arguments = std::move(arguments)](
                   const QRBSourceControlOperationPtr& operation, const QRBSourceControlManagerPtr& manager) mutable {
    // Many requests share the service's one process, and one whose service dies has none at all.
    if (subject.service) operation->setIdle(true);
    if (message.served == Served::whereListed) {
      const QRBSourceControlSystemPtr asked = subject.system();
      const bool lists = asked && asked->additionalRequests().contains(String(message.selector));
      if (asked && asked->isUsable() && !lists) return operation->fail(unsupported());
    }
    QRBSourceControlProxy proxy = subject.service
                                      ? subject.service(*manager, operation)
                                      : manager->remoteProxyObjectForSourceControlSystem(subject.system(), operation);
    // Nothing will answer; only its caller can still end it.
    if (!proxy) return operation->setIdle(true);
    if (guard) {
      if (const Error refused = guard->begin(subject.system(), proxy.processGroup())) return operation->fail(refused);
    }
    if constexpr (sizeof...(A) > 0) {
      auto& last = std::get<sizeof...(A) - 1>(arguments);
      if constexpr (std::is_same_v<std::remove_reference_t<decltype(last)>, String>) {
        if (sendsIdentifier) last = operation->identifier();
      }
    }
    auto onReply = [settlement, operation, manager, unsupported, guard](const R&... value, const Error& told) {
      const Error error = isUnsupportedRequest(told) ? unsupported() : told;
      if (guard && error) {
        manager->invalidateProcessForOperation(operation, false);
        guard->giveUp(WorkingCopyGuard::Waiting::untilRemoved);
      }
      std::shared_ptr<QRBSourceControlAuthenticationFailureHandler> handler;
      QRBSourceControlRepositoryPtr repository;
      if (!operation->suppressAuthenticationFailure() && isAuthenticationFailure(error)) {
        repository = settlement->repository();
        handler = repository ? manager->failureHandler() : nullptr;
      }
      if (handler == nullptr) {
        if (!settlement->move(State::awaitingReply, State::settled)) return;
        if (guard && !error) guard->keep();
        error ? settlement->fail(error) : settlement->succeed(value...);
        manager->operationDidFinish(operation);
        return;
      }
      auto giveUp = [=] {
        if (!settlement->move(State::asking, State::settled)) return;
        settlement->fail(error);
        manager->operationDidFinish(operation);
      };
      auto answered = std::make_shared<std::atomic<bool>>(false);
      // All that takes memory is made before the request leaves the state in which a loss ends it.
      std::function<void(bool)> answer = [=](bool retry) {
        // An answer given again may come when the next attempt is asked about, and is not for that.
        if (answered->exchange(true)) return;
        if (!retry) return giveUp();
        if (!settlement->move(State::asking, State::awaitingReply)) return;
        operation->setIdle(false);
        operation->retry();
      };
      if (!settlement->move(State::awaitingReply, State::asking)) return;
      // The refused process has no more to do. Ended here, on its own reader, it cannot be lost later and be taken for
      // the next attempt's.
      manager->invalidateProcessForOperation(operation, false);
      operation->setIdle(true);
      const bool asked = unlessScarce(
          [&] { handler->handleAuthenticationFailure(error, repository, operation->context(), std::move(answer)); });
      if (!asked) giveUp();
    };
    proxy.send(message, arguments, std::move(onReply));
  };

  auto terminate = [settlement, guard](const QRBSourceControlOperationPtr& operation,
                                       const QRBSourceControlManagerPtr& manager, const Error& error) {
    // A process that dies after its reply came has done its work; only a cancellation can still stop the request then.
    bool cancelled = operation->isCanceled();
    if (!(cancelled ? settlement->settle() : settlement->move(State::awaitingReply, State::settled))) return;
    if (guard) {
      manager->invalidateProcessForOperation(operation, true);
      // Who cancels is not to wait.
      guard->giveUp(cancelled ? WorkingCopyGuard::Waiting::no : WorkingCopyGuard::Waiting::untilRemoved);
    }
    settlement->fail(error);
    manager->operationDidFinish(operation);
  };

  auto operation = QRBSourceControlOperation::initWithSourceControlManager(
      onManager, std::move(system), std::move(block), std::move(options.incrementalLogBlock),
      std::move(options.progressBlock), std::move(terminate));
  operation->setSuppressAuthenticationFailure(options.suppressAuthenticationFailure);
  onManager->addOperation(operation);
  return operation;
}

}  // namespace qrb::request
