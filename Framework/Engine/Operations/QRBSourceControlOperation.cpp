#include "QRBSourceControlOperation.h"

#include "QRBSourceControlError.h"
#include "QRBSourceControlManager.h"
#include "Scarcity.h"
#include "ServiceConnectionPrivate.h"
#include "UUIDString.h"

using qrb::Error;

QRBSourceControlOperationPtr QRBSourceControlOperation::initWithSourceControlManager(
    QRBSourceControlManagerPtr manager, QRBSourceControlSystemPtr system, OperationBlock operationBlock,
    QRBSourceControlIncrementalLogBlock incrementalLogBlock, QRBSourceControlProgressBlock progressBlock,
    TerminationBlock terminationBlock) {
  Held held{std::move(manager),
            std::move(system),
            std::move(operationBlock),
            std::move(progressBlock),
            std::move(incrementalLogBlock),
            terminationBlock ? std::make_shared<const TerminationBlock>(std::move(terminationBlock)) : nullptr};
  return QRBSourceControlOperationPtr(new QRBSourceControlOperation(std::move(held)));
}

QRBSourceControlOperationPtr QRBSourceControlOperation::initWithSourceControlManager(
    QRBSourceControlManagerPtr manager, QRBSourceControlSystemPtr system, OperationBlock operationBlock,
    TerminationBlock terminationBlock) {
  return initWithSourceControlManager(std::move(manager), std::move(system), std::move(operationBlock),
                                      QRBSourceControlIncrementalLogBlock(), QRBSourceControlProgressBlock(),
                                      std::move(terminationBlock));
}

QRBSourceControlOperationPtr QRBSourceControlOperation::initWithSourceControlManager(
    QRBSourceControlManagerPtr manager, QRBSourceControlSystemPtr system, OperationBlock operationBlock,
    QRBSourceControlIncrementalLogBlock incrementalLogBlock, TerminationBlock terminationBlock) {
  return initWithSourceControlManager(std::move(manager), std::move(system), std::move(operationBlock),
                                      std::move(incrementalLogBlock), QRBSourceControlProgressBlock(),
                                      std::move(terminationBlock));
}

QRBSourceControlOperationPtr QRBSourceControlOperation::initWithSourceControlManager(
    QRBSourceControlManagerPtr manager, QRBSourceControlSystemPtr system, OperationBlock operationBlock,
    QRBSourceControlProgressBlock progressBlock, TerminationBlock terminationBlock) {
  return initWithSourceControlManager(std::move(manager), std::move(system), std::move(operationBlock),
                                      QRBSourceControlIncrementalLogBlock(), std::move(progressBlock),
                                      std::move(terminationBlock));
}

QRBSourceControlOperation::QRBSourceControlOperation(Held held)
    : _identifier(qrb::makeUUIDString()), _held(std::move(held)) {
  setName(_identifier.str());
}

qrb::SerialQueue& QRBSourceControlOperation::sourceControlOperationStateQueue() {
  // Never destroyed: operations may finish while the process exits.
  static auto* queue = new qrb::SerialQueue("Source Control Operation State Modification Queue");
  return *queue;
}

void QRBSourceControlOperation::start() {
  if (_cancelRequested) return finish();
  willChange(Property::isExecuting);
  _isExecuting = true;
  didChange(Property::isExecuting);
  // `cancel` sets its request before it looks at isExecuting. Where it looked too early to see this start, the request
  // is seen here.
  if (_cancelRequested) return finish();
  startOperation();
}

// A lack of memory or threads fails the request that meets it, and its thread goes on.
void QRBSourceControlOperation::startOperation() {
  bool started = qrb::unlessScarce([this] {
    // A copy: finishing lets go of what is being run.
    auto manager = sourceControlManager();
    auto block = operationBlock();
    if (manager == nullptr || !block) return;
    auto self = shared_from_this();
    manager->operationDidStart(self);
    block(self, manager);
  });
  if (!started) fail(qrb::scarcityError());
}

void QRBSourceControlOperation::setIdle(bool idle) {
  willChange(Property::isIdle);
  _isIdle = idle;
  didChange(Property::isIdle);
}

void QRBSourceControlOperation::retry() {
  if (!_isExecuting || _isFinished || _cancelRequested) return;
  auto manager = sourceControlManager();
  if (manager == nullptr) return;
  manager->invalidateProcessForOperation(shared_from_this(), false);
  startOperation();
}

void QRBSourceControlOperation::finish() {
  auto self = shared_from_this();
  sourceControlOperationStateQueue().sync([&] {
    if (_isExecuting) {
      willChange(Property::isExecuting);
      _isExecuting = false;
      didChange(Property::isExecuting);
    }
    willChange(Property::isFinished);
    _isFinished = true;
    didChange(Property::isFinished);
  });
  drop();
}

void QRBSourceControlOperation::terminate(const Error& error) {
  boundTermination()(error);
}

void QRBSourceControlOperation::fail(const Error& error) {
  terminate(error);
  if (!_isFinished) cancel();
}

// The block together with the manager it is to be given: both are let go at once by an end on another thread.
QRBSourceControlOperation::Termination QRBSourceControlOperation::boundTermination() {
  return _held.with([&](const Held& held) {
    return Termination{shared_from_this(), held.manager, held.terminationBlock};
  });
}

void QRBSourceControlOperation::cancel() {
  auto self = shared_from_this();
  Termination termination = boundTermination();
  const QRBSourceControlManagerPtr& manager = termination.manager;
  Error error = qrb::scarcityError();
  qrb::unlessScarce([&] { error = QRBSourceControlError_Canceled(); });
  if (!_isFinished && !_cancelRequested.exchange(true)) {
    if (_isExecuting) {
      if (manager) manager->invalidateProcessForOperation(self, true);
      finish();
    }
    _isCanceled = true;
    termination(error);
  }
  drop();
}

// What the callbacks hold is let go outside the lock: its destructors may come back here.
void QRBSourceControlOperation::drop() {
  Held dropped;
  _held.with([&](Held& held) { std::swap(held, dropped); });
}

std::shared_ptr<void> QRBSourceControlOperation::context() const {
  return _context.with([](const std::weak_ptr<void>& context) { return context.lock(); });
}

void QRBSourceControlOperation::setContext(const std::shared_ptr<void>& context) {
  _context.with([&](std::weak_ptr<void>& held) { held = context; });
}

QRBSourceControlOperation::OperationBlock QRBSourceControlOperation::operationBlock() const {
  return _held.with([](const Held& held) { return held.operationBlock; });
}

QRBSourceControlOperation::TerminationBlock QRBSourceControlOperation::terminationBlock() const {
  return _held.with(
      [](const Held& held) { return held.terminationBlock ? *held.terminationBlock : TerminationBlock(); });
}

QRBSourceControlProgressBlock QRBSourceControlOperation::progressBlock() const {
  return _held.with([](const Held& held) { return held.progressBlock; });
}

QRBSourceControlIncrementalLogBlock QRBSourceControlOperation::incrementalLogBlock() const {
  return _held.with([](const Held& held) { return held.incrementalLogBlock; });
}

QRBSourceControlManagerPtr QRBSourceControlOperation::sourceControlManager() const {
  return _held.with([](const Held& held) { return held.manager; });
}

QRBSourceControlSystemPtr QRBSourceControlOperation::system() const {
  return _held.with([](const Held& held) { return held.system; });
}
