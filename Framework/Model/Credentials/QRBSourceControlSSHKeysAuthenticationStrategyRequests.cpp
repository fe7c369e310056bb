// The requests that a key strategy hands to the manager, which asks the SSH helper.

#include "QRBSourceControlManager.h"
#include "QRBSourceControlSSHKeysAuthenticationStrategy.h"

using Strategy = QRBSourceControlSSHKeysAuthenticationStrategy;

QRBSourceControlCancellablePtr Strategy::defaultSSHKeyAuthenticationStrategyForURL(
    const qrb::URL& url, QRBSourceControlCompletionBlock<Pointer> completionBlock) {
  return QRBSourceControlManager::sharedInstance()->defaultSSHKeyAuthenticationStrategyForURL(
      url, std::move(completionBlock));
}

QRBSourceControlCancellablePtr Strategy::validateSSHKeysWithPrivateKeyURL(
    const qrb::URL& privateKeyURL, QRBSourceControlCompletionBlock<> completionBlock) {
  return QRBSourceControlManager::sharedInstance()->validateSSHKeysWithPrivateKeyURL(privateKeyURL,
                                                                                     std::move(completionBlock));
}

QRBSourceControlCancellablePtr Strategy::generateNewKeysWithPassword(
    const qrb::String& password, const qrb::URL& inFolder, QRBSourceControlCompletionBlock<Pointer> completionBlock) {
  return QRBSourceControlManager::sharedInstance()->generateSSHKeysWithPassphrase(password, inFolder,
                                                                                  std::move(completionBlock));
}

QRBSourceControlCancellablePtr Strategy::generateNewKeysInFolder(
    const qrb::URL& folder, const qrb::String& comment, QRBSourceControlCompletionBlock<Pointer> completionBlock) {
  return QRBSourceControlManager::sharedInstance()->generateSSHKeysWithPassphrase(
      QRBSourceControlSSHGenerateRandomPassphrase(), comment, folder, std::move(completionBlock));
}

QRBSourceControlCancellablePtr Strategy::generateNewKeysInFolder(
    const qrb::URL& folder, QRBSourceControlCompletionBlock<Pointer> completionBlock) {
  return generateNewKeysWithPassword(QRBSourceControlSSHGenerateRandomPassphrase(), folder, std::move(completionBlock));
}
