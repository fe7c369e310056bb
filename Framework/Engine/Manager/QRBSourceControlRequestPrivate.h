#pragma once

#include <atomic>
#include <functional>
#include <memory>
#include <tuple>
#include <type_traits>
#include <utility>

#include "Guarded.h"
#include "QRBSourceControlManager.h"
#include "QRBSourceControlModelPrivate.h"
#include "QRBSourceControlProxyPrivate.h"
#include "Scarcity.h"
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

Subject of(const QRBSourceControlRepositoryPtr& repository);
Subject of(const QRBSourceControlWorkingCopyPtr& workingCopy);
/// A request that names its system itself has no repository and so no authentication routing.
Subject of(const QRBSourceControlSystemPtr& system);
Subject ofService(QRBSourceControlProxy (QRBSourceControlManager::*proxy)(const QRBSourceControlOperationPtr&));

struct Options {
  bool suppressAuthenticationFailure = false;
  /// The operation's identifier is sent as the message's last argument.
  bool sendsProgressIdentifier = false;
  QRBSourceControlProgressBlock progressBlock = nullptr;
  QRBSourceControlIncrementalLogBlock incrementalLogBlock = nullptr;
  /// Set for a request that makes a working copy.
  std::unique_ptr<WorkingCopyGuard> guard = nullptr;
};

/// Who made a request, without the types of what he is answered with.
class Caller {
 public:
  /// The values of one reply. Only the caller that read them knows what they are.
  using Values = std::shared_ptr<void>;

  virtual ~Caller() = default;
  /// Throws ArchiveError for values of other types than declared. Any thread.
  virtual Values read(ArchiveNode result) const = 0;
  /// One of these is called, once. Then the caller has been answered, whatever he lacks memory for himself, and what he
  /// gave is let go.
  virtual void succeed(const Values& values) = 0;
  virtual void fail(const Error& error) = 0;
};

template <class... R>
class CallerOf final : public Caller {
 public:
  using Completion = std::function<void(R..., Error)>;

  explicit CallerOf(Completion completion) : _completion(std::move(completion)) {}

  Values read(ArchiveNode result) const override {
    return std::make_shared<std::tuple<R...>>(readValues<std::tuple<R...>>(result));
  }
  void succeed(const Values& values) override {
    Completion completion = std::exchange(_completion, nullptr);
    if (!completion) return;
    auto give = [&](R&... value) { completion(std::move(value)..., Error()); };
    unlessScarce([&] { std::apply(give, *static_cast<std::tuple<R...>*>(values.get())); });
  }
  void fail(const Error& error) override {
    if (Completion completion = std::exchange(_completion, nullptr)) unlessScarce([&] { completion(R()..., error); });
  }

 private:
  Completion _completion;
};

/// Who may answer the caller. Reply, loss of the process, cancellation and the failure handler's answer may come from
/// different threads at once; each must first take the request out of the state it acts on, and only one can.
class Settlement {
 public:
  enum class State { awaitingReply, asking, settled };
  using RepositoryLookUp = std::function<QRBSourceControlRepositoryPtr()>;

  Settlement(RepositoryLookUp repository, std::unique_ptr<Caller> caller)
      : _repository(std::move(repository)), _caller(std::move(caller)) {}

  bool move(State from, State to) { return _state.compare_exchange_strong(from, to); }
  /// From whatever state it is in; false when it was settled already.
  bool settle() { return _state.exchange(State::settled) != State::settled; }

  /// Null once the request is settled.
  QRBSourceControlRepositoryPtr repository() const;
  const Caller& caller() const { return *_caller; }

  /// To be called by who has settled it.
  void succeed(const Caller::Values& values);
  void fail(const Error& error);

 private:
  void forgetRepository();

  std::atomic<State> _state = State::awaitingReply;
  Guarded<RepositoryLookUp> _repository;
  const std::unique_ptr<Caller> _caller;
};

/// A message, without the types of its arguments and reply.
struct Form {
  std::string_view selector;
  Served served;
  /// What the peer may deliver for it.
  std::size_t deliveryBudget;
};

/// What is asked of whom.
struct Question {
  Subject subject;
  /// Writes the arguments, the last of which is the progress identifier where that is not absent. Called by one thread
  /// at a time.
  std::function<void(ArchiveWriter&, const String& progressIdentifier)> write;
};

/// One request, from being made until it is settled, over as many attempts as its authentication takes. Shared by its
/// operation and by replies that are still to come: a helper service that has yet to reply to a request that was
/// cancelled holds on to this alone. The question, whose arguments may be long or secret, is the operation's and ends
/// with it.
class Request final : public std::enable_shared_from_this<Request> {
 public:
  static QRBSourceControlOperationPtr start(const QRBSourceControlManagerPtr& onManager, const Form& form,
                                            Question question, Options options, std::unique_ptr<Caller> caller);

 private:
  using State = Settlement::State;
  using FailureHandlerPtr = std::shared_ptr<QRBSourceControlAuthenticationFailureHandler>;
  /// Where an attempt runs.
  struct Place {
    QRBSourceControlOperationPtr operation;
    QRBSourceControlManagerPtr manager;
  };

  Request(const Form& form, const Subject& subject, Options& options, std::unique_ptr<Caller> caller);

  /// The first attempt, and each further one.
  void begin(const Place& place, const Question& question);
  bool isServed(const Subject& subject) const;
  void send(const Place& place, const Question& question, const QRBSourceControlProxy& proxy);
  void replied(const Place& place, const Error& told, const Caller::Values& values);
  void ask(const Place& place, const Error& error, const QRBSourceControlRepositoryPtr& repository,
           const FailureHandlerPtr& handler);
  void answered(const Place& place, const Error& error, bool retry);
  void giveUp(const Place& place, const Error& error);
  /// The loss of the process, or the cancellation.
  void lost(const Place& place, const Error& error);
  /// Whatever the plug-in says of it, people are told who cannot do what.
  Error unsupported() const;

  const Form _form;
  const bool _sendsProgressIdentifier;
  const QRBSourceControlSystemPtr _system;
  const std::unique_ptr<WorkingCopyGuard> _guard;
  Settlement _settlement;
};

template <class... A>
auto writerOf(std::tuple<A...> arguments) {
  return [arguments = std::move(arguments)](ArchiveWriter& writer,
                                            [[maybe_unused]] const String& progressIdentifier) mutable {
    if constexpr (sizeof...(A) > 0) {
      auto& last = std::get<sizeof...(A) - 1>(arguments);
      if constexpr (std::is_same_v<std::remove_reference_t<decltype(last)>, String>) {
        if (progressIdentifier) last = progressIdentifier;
      }
    }
    writeValues(writer, arguments);
  };
}

/// Makes a request and queues its operation. Only what the types decide is done here, since every request has its own.
template <class... A, class... R>
QRBSourceControlOperationPtr start(const QRBSourceControlManagerPtr& onManager,
                                   const Message<Arguments<A...>, Reply<R...>>& message, Subject subject,
                                   Options options, std::type_identity_t<std::function<void(R..., Error)>> completion,
                                   std::type_identity_t<std::tuple<A...>> arguments) {
  return Request::start(onManager,
                        {message.selector, message.served, deliveryBudget(std::type_identity<std::tuple<R...>>())},
                        {std::move(subject), writerOf(std::move(arguments))}, std::move(options),
                        std::make_unique<CallerOf<R...>>(std::move(completion)));
}

}  // namespace qrb::request
