#pragma once

#include <atomic>
#include <functional>
#include <memory>

#include <qrb/Export.h>
#include <qrb/Guarded.h>
#include <qrb/QueueOperation.h>

#include "QRBSourceControlCancellable.h"
#include "QRBSourceControlForward.h"

/// An action of several requests made one after another: forwards cancellation to whichever is running. The action is
/// an execution block of this operation; it sets each request's handle as the current step before it waits for it.
/// Members may be called from any thread.
class QRB_EXPORT QRBSourceControlMultiCancellable final : public qrb::BlockOperation,
                                                          public QRBSourceControlCancellable {
 public:
  using qrb::BlockOperation::BlockOperation;

  /// The step that runs now; null between steps.
  QRBSourceControlCancellablePtr currentCancellable() const;
  /// Hands the action's context and, when it is set, its suppression of authentication failures to the step, and makes
  /// it the current one. A step that is set after the action was cancelled is cancelled at once.
  void setCurrentCancellable(const QRBSourceControlCancellablePtr& step);

  /// Cancels the current step and the action; blocks that have not begun are skipped.
  void cancel() override;
  /// True from the moment that `cancel` began: the end of the step that it cancels must not look like any other.
  bool isCancelled() const override {
    return _step.with([](const Step& step) { return step.cancelled; });
  }

  /// The action's own, handed to the steps that are set from then on.
  bool suppressAuthenticationFailure() const override { return _suppressAuthenticationFailure; }
  void setSuppressAuthenticationFailure(bool suppress) override { _suppressAuthenticationFailure = suppress; }
  std::shared_ptr<void> context() const override;
  void setContext(const std::shared_ptr<void>& context) override;

 private:
  struct Step {
    QRBSourceControlCancellablePtr current;
    bool cancelled = false;
  };

  qrb::Guarded<Step> _step;
  std::atomic<bool> _suppressAuthenticationFailure = false;
  qrb::Guarded<std::weak_ptr<void>> _context;
};
