#include "QRBSourceControlMultiCancellable.h"

QRBSourceControlCancellablePtr QRBSourceControlMultiCancellable::currentCancellable() const {
  return _step.with([](const Step& step) { return step.current; });
}

void QRBSourceControlMultiCancellable::setCurrentCancellable(const QRBSourceControlCancellablePtr& step) {
  if (step) {
    if (_suppressAuthenticationFailure) step->setSuppressAuthenticationFailure(true);
    step->setContext(context());
  }
  bool cancelled = _step.with([&](Step& held) {
    held.current = held.cancelled ? nullptr : step;
    return held.cancelled;
  });
  // The step was made before the cancellation was known, and is heard of here only after it.
  if (cancelled && step) step->cancel();
}

void QRBSourceControlMultiCancellable::cancel() {
  auto step = _step.with([](Step& held) {
    held.cancelled = true;
    return std::exchange(held.current, nullptr);
  });
  if (step) step->cancel();
  qrb::BlockOperation::cancel();
}

std::shared_ptr<void> QRBSourceControlMultiCancellable::context() const {
  return _context.with([](const std::weak_ptr<void>& context) { return context.lock(); });
}

void QRBSourceControlMultiCancellable::setContext(const std::shared_ptr<void>& context) {
  _context.with([&](std::weak_ptr<void>& held) { held = context; });
}
