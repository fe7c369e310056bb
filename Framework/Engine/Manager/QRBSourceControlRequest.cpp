#include "QRBSourceControlError.h"
#include "QRBSourceControlRequestPrivate.h"
#include "RequestWordsPrivate.h"

namespace qrb::request {

namespace {

bool isAuthenticationFailure(const Error& error) {
  return error && error.code() < -999;
}

bool isUnsupportedRequest(const Error& error) {
  return error && error.code() == static_cast<std::int64_t>(QRBSourceControlErrorCode::requestUnsupported) &&
         error.domain().view() == QRBSourceControlErrorDomain;
}

}  // namespace

// What requests are about

Subject of(const QRBSourceControlRepositoryPtr& repository) {
  return {[repository] { return repository ? repository->sourceControlSystem() : nullptr; },
          [repository] { return repository; }};
}

Subject of(const QRBSourceControlWorkingCopyPtr& workingCopy) {
  auto repository = [workingCopy] { return workingCopy ? workingCopy->repository() : nullptr; };
  return {[repository] {
            auto found = repository();
            return found ? found->sourceControlSystem() : nullptr;
          },
          repository};
}

Subject of(const QRBSourceControlSystemPtr& system) {
  return {[system] { return system; }, [] { return QRBSourceControlRepositoryPtr(); }};
}

Subject ofService(QRBSourceControlProxy (QRBSourceControlManager::*proxy)(const QRBSourceControlOperationPtr&)) {
  return {[] { return QRBSourceControlSystemPtr(); }, [] { return QRBSourceControlRepositoryPtr(); },
          [proxy](QRBSourceControlManager& manager, const QRBSourceControlOperationPtr& operation) {
            return (manager.*proxy)(operation);
          }};
}

// Who may answer

QRBSourceControlRepositoryPtr Settlement::repository() const {
  auto lookUp = _repository.with([](const RepositoryLookUp& held) { return held; });
  return lookUp ? lookUp() : nullptr;
}

// Destroyed outside the lock: it may hold the last of the caller's objects.
void Settlement::forgetRepository() {
  RepositoryLookUp forgotten;
  _repository.with([&](RepositoryLookUp& held) { held.swap(forgotten); });
}

void Settlement::succeed(const Caller::Values& values) {
  forgetRepository();
  _caller->succeed(values);
}

void Settlement::fail(const Error& error) {
  forgetRepository();
  _caller->fail(error);
}

// Steps

QRBSourceControlOperationPtr Request::start(const QRBSourceControlManagerPtr& onManager, const Form& form,
                                            Question question, Options options, std::unique_ptr<Caller> caller) {
  std::shared_ptr<Request> request(new Request(form, question.subject, options, std::move(caller)));
  auto block = [request, asked = std::make_shared<const Question>(std::move(question))](
                   const QRBSourceControlOperationPtr& operation, const QRBSourceControlManagerPtr& manager) {
    request->begin({operation, manager}, *asked);
  };
  auto terminate = [request](const QRBSourceControlOperationPtr& operation, const QRBSourceControlManagerPtr& manager,
                             const Error& error) {
    request->lost({operation, manager}, error);
  };
  auto operation = QRBSourceControlOperation::initWithSourceControlManager(
      onManager, request->_system, std::move(block), std::move(options.incrementalLogBlock),
      std::move(options.progressBlock), std::move(terminate));
  operation->setSuppressAuthenticationFailure(options.suppressAuthenticationFailure);
  onManager->addOperation(operation);
  return operation;
}

Request::Request(const Form& form, const Subject& subject, Options& options, std::unique_ptr<Caller> caller)
    : _form(form),
      _sendsProgressIdentifier(options.sendsProgressIdentifier),
      _system(subject.system()),
      _guard(std::move(options.guard)),
      _settlement(subject.repository, std::move(caller)) {}

void Request::begin(const Place& place, const Question& question) {
  const Subject& subject = question.subject;
  // Many requests share the service's one process, and one whose service dies has none at all.
  if (subject.service) place.operation->setIdle(true);
  if (!isServed(subject)) return place.operation->fail(unsupported());
  QRBSourceControlProxy proxy =
      subject.service ? subject.service(*place.manager, place.operation)
                      : place.manager->remoteProxyObjectForSourceControlSystem(subject.system(), place.operation);
  // Nothing will answer; only its caller can still end it.
  if (!proxy) return place.operation->setIdle(true);
  if (_guard) {
    if (Error refused = _guard->begin(subject.system(), proxy.processGroup())) {
      return place.operation->fail(refused);
    }
  }
  send(place, question, proxy);
}

// A system that is not usable is not asked at all, and so does not say no either.
bool Request::isServed(const Subject& subject) const {
  if (_form.served == Served::always) return true;
  QRBSourceControlSystemPtr system = subject.system();
  return !system || !system->isUsable() || system->additionalRequests().contains(String(_form.selector));
}

void Request::send(const Place& place, const Question& question, const QRBSourceControlProxy& proxy) {
  String identifier = _sendsProgressIdentifier ? place.operation->identifier() : String();
  proxy.sendRequest(
      _form.selector, [&](ArchiveWriter& writer) { question.write(writer, identifier); },
      [self = shared_from_this(), place](ArchiveNode error, ArchiveNode result) {
        Error told = Codec<Error>::read(error);
        self->replied(place, told, self->_settlement.caller().read(result));
      },
      _form.deliveryBudget);
}

void Request::replied(const Place& place, const Error& told, const Caller::Values& values) {
  Error error = isUnsupportedRequest(told) ? unsupported() : told;
  if (_guard && error) {
    place.manager->invalidateProcessForOperation(place.operation, false);
    _guard->giveUp(WorkingCopyGuard::Waiting::untilRemoved);
  }
  if (isAuthenticationFailure(error) && !place.operation->suppressAuthenticationFailure()) {
    QRBSourceControlRepositoryPtr repository = _settlement.repository();
    FailureHandlerPtr handler = repository ? place.manager->failureHandler() : nullptr;
    if (handler != nullptr) return ask(place, error, repository, handler);
  }
  if (!_settlement.move(State::awaitingReply, State::settled)) return;
  if (_guard && !error) _guard->keep();
  error ? _settlement.fail(error) : _settlement.succeed(values);
  place.manager->operationDidFinish(place.operation);
}

void Request::ask(const Place& place, const Error& error, const QRBSourceControlRepositoryPtr& repository,
                  const FailureHandlerPtr& handler) {
  // All that takes memory is made before the request leaves the state in which a loss ends it.
  std::function<void(bool)> answer = [self = shared_from_this(), place, error,
                                      isAnswered = std::make_shared<std::atomic<bool>>(false)](bool retry) {
    // A handler that answers twice may do so when the next attempt is asked about already; its second answer is not for
    // that.
    if (!isAnswered->exchange(true)) self->answered(place, error, retry);
  };
  if (!_settlement.move(State::awaitingReply, State::asking)) return;
  // The refused process has no more to do. It is ended here, on its own reader, so that its loss cannot be taken for
  // that of the next attempt's process.
  place.manager->invalidateProcessForOperation(place.operation, false);
  place.operation->setIdle(true);
  bool asked = unlessScarce(
      [&] { handler->handleAuthenticationFailure(error, repository, place.operation->context(), std::move(answer)); });
  if (!asked) giveUp(place, error);
}

void Request::answered(const Place& place, const Error& error, bool retry) {
  if (!retry) return giveUp(place, error);
  if (!_settlement.move(State::asking, State::awaitingReply)) return;
  place.operation->setIdle(false);
  place.operation->retry();
}

void Request::giveUp(const Place& place, const Error& error) {
  if (!_settlement.move(State::asking, State::settled)) return;
  _settlement.fail(error);
  place.manager->operationDidFinish(place.operation);
}

void Request::lost(const Place& place, const Error& error) {
  // A process that dies after its reply came has done its work; only a cancellation can still stop the request then.
  bool cancelled = place.operation->isCanceled();
  if (!(cancelled ? _settlement.settle() : _settlement.move(State::awaitingReply, State::settled))) return;
  if (_guard) {
    place.manager->invalidateProcessForOperation(place.operation, true);
    // Whoever cancels does not wait.
    _guard->giveUp(cancelled ? WorkingCopyGuard::Waiting::no : WorkingCopyGuard::Waiting::untilRemoved);
  }
  _settlement.fail(error);
  place.manager->operationDidFinish(place.operation);
}

Error Request::unsupported() const {
  return QRBSourceControlError_RequestUnsupported(_system ? _system->name() : String(), wordsForRequest(_form.selector),
                                                  _form.selector);
}

}  // namespace qrb::request
