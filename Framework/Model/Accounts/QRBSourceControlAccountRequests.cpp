// The request that an account hands to the manager.

#include "QRBSourceControlAccount.h"
#include "QRBSourceControlManager.h"

QRBSourceControlCancellablePtr QRBSourceControlAccount::knownSSHHostsAndFingerprintsWithCompletionBlock(
    QRBSourceControlCompletionBlock<qrb::Dictionary> completionBlock) {
  return QRBSourceControlManager::sharedInstance()->knownSSHHostsAndFingerprintsWithCompletionBlock(
      std::move(completionBlock));
}
