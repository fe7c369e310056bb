#include "Localization.h"
#include "QRBSourceControlSystem.h"
#include "SequentialActionPrivate.h"

namespace qrb {

Error actionAbandonedError() {
  return Error(QRBSourceControlErrorDomain, kActionAbandonedCode);
}

bool canBeAsked(const QRBSourceControlRepository* repository) {
  if (repository == nullptr) return false;
  QRBSourceControlSystemPtr system = repository->sourceControlSystem();
  return system != nullptr && system->isUsable();
}

QRBSourceControlMultiCancellablePtr SequentialAction::start(OperationQueue& queue, const char* selector, Body body) {
  // A cancelled operation lets go of blocks that have not begun without running them, and the caller of the action
  // would never be answered.
  struct Once {
    SequentialAction action;
    Body body;
    bool hasRun = false;

    void run() {
      if (!std::exchange(hasRun, true)) unlessScarce([this] { body(action); });
    }
    ~Once() { run(); }
  };
  auto handle = std::make_shared<QRBSourceControlMultiCancellable>();
  std::shared_ptr<Once> once(new Once{SequentialAction(handle, selector), std::move(body)});
  handle->addExecutionBlock([once = std::move(once)] { once->run(); });
  queue.addOperation(handle);
  return handle;
}

bool SequentialAction::isAbandoned() const {
  auto handle = _handle.lock();
  return handle == nullptr || handle->isCancelled();
}

std::string SequentialAction::lockName(const char* lockWord) const {
  return format("%@ Condition Lock (%@)", {_selector, lockWord});
}

void SequentialAction::setCurrentStep(const QRBSourceControlCancellablePtr& step) {
  // Without a handle nobody is left who could cancel the step.
  if (auto handle = _handle.lock()) handle->setCurrentCancellable(step);
}

void SequentialAction::seeOff(const QRBSourceControlCancellablePtr& step) const {
  auto operation = std::dynamic_pointer_cast<QueueOperation>(step);
  // A cancelled request has seen its process off before it answered, and may have to wait for its turn to finish.
  if (operation != nullptr && !isAbandoned()) operation->waitUntilFinished();
}

}  // namespace qrb
