#include <utility>

#include "QRBSourceControlAccount.h"
#include "QRBSourceControlError.h"
#include "QRBSourceControlManager.h"
#include "QRBSourceControlRefusalPrivate.h"
#include "QRBSourceControlRemoteRepository.h"

using RemoteRepositoryPtr = QRBSourceControlRemoteRepositoryPtr;

RemoteRepositoryPtr QRBSourceControlRemoteRepository::moveToURLRoot(const qrb::URL& root) {
  setURL(root);
  if (QRBSourceControlAccountPtr owner = account()) owner->setHostURL(root);
  auto accountManager = QRBSourceControlAccount::sharedAccountManager();
  if (accountManager == nullptr) return sharedSelf();
  RemoteRepositoryPtr known = accountManager->knownRepositoryForURL(root, sourceControlSystem());
  auto existing = accountManager->existingAccountForRepository(sharedSelf(), authenticationStrategy(), false);
  if (existing != nullptr) setAccount(std::move(existing));
  return known == nullptr ? sharedSelf() : known;
}

QRBSourceControlCancellablePtr QRBSourceControlRemoteRepository::updateRepositoryURLRootWithCompletionBlock(
    Completion<RemoteRepositoryPtr, QRBSourceControlPathLocationPtr> completionBlock) {
  auto moveAndPassOn = [self = sharedSelf(), completionBlock](const qrb::URL& root,
                                                              QRBSourceControlPathLocationPtr path, qrb::Error error) {
    RemoteRepositoryPtr chosen = root && !error ? self->moveToURLRoot(root) : self;
    if (completionBlock) completionBlock(std::move(chosen), std::move(path), std::move(error));
  };
  return qrb::detail::requestIfCapable(
      sourceControlSystem(), &QRBSourceControlSystem::repositoryURLIncludesSubpath,
      &QRBSourceControlError_SystemRootURLOfRepositoriesUnsupported, completionBlock, [&] {
        return QRBSourceControlManager::sharedInstance()->updateRepositoryURLRootForRepository(
            sharedSelf(), std::move(moveAndPassOn));
      });
}

QRBSourceControlCancellablePtr QRBSourceControlRemoteRepository::validateAuthenticationForLocation(
    QRBSourceControlRevisionLocationPtr location, Layout branchAndTagLocations, Completion<> completionBlock) {
  return QRBSourceControlManager::sharedInstance()->validateAuthenticationOfRepository(
      sharedSelf(), location, branchAndTagLocations, std::move(completionBlock));
}

QRBSourceControlCancellablePtr QRBSourceControlRemoteRepository::createWorkingCopyAtURL(
    qrb::URL URL, QRBSourceControlRevisionLocationPtr location, Layout branchAndTagLocations,
    QRBSourceControlProgressBlock progressBlock, Completion<QRBSourceControlWorkingCopyPtr> completionBlock) {
  return QRBSourceControlManager::sharedInstance()->createWorkingCopyFromRepository(
      sharedSelf(), URL, location, branchAndTagLocations, std::move(progressBlock), std::move(completionBlock));
}
