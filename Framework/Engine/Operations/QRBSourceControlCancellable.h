#pragma once

#include <memory>

#include <qrb/Export.h>

/// What every request returns: the handle by which its caller can stop it. Any thread.
class QRB_EXPORT QRBSourceControlCancellable {
 public:
  virtual ~QRBSourceControlCancellable() = default;

  /// Stops the work and answers the caller with the cancellation error. Does nothing once the request has been
  /// answered; the answer may be under way on another thread while this returns.
  virtual void cancel() = 0;

  /// When true, an authentication failure goes straight to the caller instead of to the manager's failure handler.
  virtual bool suppressAuthenticationFailure() const = 0;
  virtual void setSuppressAuthenticationFailure(bool suppress) = 0;

  /// An object of the caller's, handed to the failure handler with the failure. Held weakly: null once its owner has
  /// let it go.
  virtual std::shared_ptr<void> context() const = 0;
  virtual void setContext(const std::shared_ptr<void>& context) = 0;
};
