#include "QRBSourceControlSystemPlaceholder.h"

#include "Localization.h"
#include "QRBSourceControlError.h"

QRB_DEFINE_OBJECT(QRBSourceControlSystemPlaceholder, QRBSourceControlSystem, "QRBSourceControlSystemPlaceholder",
                  nullptr);

std::shared_ptr<const QRBSourceControlSystemPlaceholder> QRBSourceControlSystemPlaceholder::initWithPlugInIdentifier(
    qrb::String plugInIdentifier) {
  return std::make_shared<QRBSourceControlSystemPlaceholder>(Key(), plugInIdentifier.valueOr("SCMSystem Placeholder"));
}

QRBSourceControlCancellablePtr QRBSourceControlSystemPlaceholder::keychainNameFromURL(
    const qrb::URL&, QRBSourceControlCompletionBlock<qrb::String, std::uint64_t, qrb::String> completionBlock) const {
  if (completionBlock) completionBlock({}, 0, {}, QRBSourceControlError_SystemUnusable());
  return nullptr;
}

std::string QRBSourceControlSystemPlaceholder::description() const {
  return qrb::format("SCMSystem Placeholder %@", {plugInIdentifier()});
}
