// The requests that a system hands to the manager.

#include "QRBSourceControlConstants.h"
#include "QRBSourceControlManager.h"
#include "QRBSourceControlSystem.h"

QRBSourceControlSystemPtr QRBSourceControlSystem::systemWithIdentifier(const qrb::String& identifier) {
  return QRBSourceControlManager::sharedInstance()->systemWithIdentifer(identifier);
}

QRBSourceControlSystem::Systems QRBSourceControlSystem::cachedSourceControlSystems() {
  auto systems = QRBSourceControlManager::sharedInstance()->cachedSourceControlSystems();
  return systems == nullptr ? Systems() : *systems;
}

QRBSourceControlCancellablePtr QRBSourceControlSystem::sourceControlSystemsWithCompletionBlock(
    SystemsCompletion completionBlock) {
  return QRBSourceControlManager::sharedInstance()->sourceControlSystemsWithCompletionBlock(std::move(completionBlock));
}

QRBSourceControlCancellablePtr QRBSourceControlSystem::bestGuessSystemForURL(
    const qrb::URL& url, std::function<void(const QRBSourceControlSystemPtr&)> completionBlock) {
  return sourceControlSystemsWithCompletionBlock(
      [url, completionBlock = std::move(completionBlock)](const std::shared_ptr<const Systems>& systems) {
        if (!completionBlock) return;
        // Looking Git up now would begin the listing that was just cancelled anew.
        if (systems == nullptr) return completionBlock(nullptr);
        QRBSourceControlSystemPtr guess = bestGuessSystemForURLAmongSystems(url, *systems);
        completionBlock(guess != nullptr ? guess : systemWithIdentifier(QRBSourceControlGitPlugInIdentifier));
      });
}

QRBSourceControlCancellablePtr QRBSourceControlSystem::keychainNameFromURL(
    const qrb::URL& url,
    QRBSourceControlCompletionBlock<qrb::String, std::uint64_t, qrb::String> completionBlock) const {
  return QRBSourceControlManager::sharedInstance()->keychainNameFromURL(url, shared_from_this(),
                                                                        std::move(completionBlock));
}
