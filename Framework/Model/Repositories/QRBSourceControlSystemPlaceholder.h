#pragma once

#include "QRBSourceControlSystem.h"

/// Stands for a system whose plug-in is not there, or not yet. It can do nothing, is equal to no real system, and must
/// not be archived.
class QRB_EXPORT QRBSourceControlSystemPlaceholder final : public QRBSourceControlSystem {
  QRB_OBJECT;

 public:
  /// An absent identifier becomes "SCMSystem Placeholder".
  static std::shared_ptr<const QRBSourceControlSystemPlaceholder> initWithPlugInIdentifier(
      qrb::String plugInIdentifier);
  QRBSourceControlSystemPlaceholder(Key key, qrb::String plugInIdentifier) noexcept
      : QRBSourceControlSystem(key, std::move(plugInIdentifier)) {}

  /// Never usable.
  bool isUsable() const noexcept override { return false; }
  /// Calls the completion at once, on this thread, with the error of an unusable system, and answers null.
  QRBSourceControlCancellablePtr keychainNameFromURL(
      const qrb::URL& url,
      QRBSourceControlCompletionBlock<qrb::String, std::uint64_t, qrb::String> completionBlock) const override;
  /// "SCMSystem Placeholder" and the identifier, for logs.
  std::string description() const override;
};
