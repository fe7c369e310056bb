#include "QRBSourceControlOperation.h"

#include "QRBSourceControlError.h"
#include "QRBSourceControlManager.h"
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
            std::move(terminationBlock)};
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
  static auto* queue =
      new qrb::SerialQueue("Source Control Operation State Modification Queue", qrb::QualityOfService::utility);
  return *queue;
}

void QRBSourceControlOperation::start() {
  if (_cancelRequested) return finish();
  willChange(Property::isExecuting);
  _isExecuting = true;
  didChange(Property::isExecuting);
  // `cancel` makes its request before it looks at isExecuting: where it came too early to see that, it is seen here.
  if (_cancelRequested) return finish();
  startOperation();
}

void QRBSourceControlOperation::startOperation() {
  // A copy: finishing lets go of what is being run.
  auto manager = sourceControlManager();
  auto block = operationBlock();
  if (manager == nullptr || !block) return;
  auto self = shared_from_this();
  manager->operationDidStart(self);
  block(self, manager);
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
  if (auto termination = boundTermination()) termination(error);
}

// The block together with the manager it is to be given: both are let go at once by an end on another thread.
std::function<void(const Error&)> QRBSourceControlOperation::boundTermination() {
  return _held.with([&](const Held& held) -> std::function<void(const Error&)> {
    if (!held.terminationBlock) return {};
    return [self = shared_from_this(), block = held.terminationBlock, manager = held.manager](const Error& error) {
      block(self, manager, error);
    };
  });
}

void QRBSourceControlOperation::cancel() {
  auto self = shared_from_this();
  auto termination = boundTermination();
  auto manager = sourceControlManager();
  if (!_isFinished && !_cancelRequested.exchange(true)) {
    if (_isExecuting) {
      if (manager) manager->invalidateProcessForOperation(self, true);
      finish();
    }
    _isCanceled = true;
    if (termination) termination(QRBSourceControlError_Canceled());
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
  return _held.with([](const Held& held) { return held.terminationBlock; });
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
