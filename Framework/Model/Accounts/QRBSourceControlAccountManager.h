#pragma once

#include <qrb/Export.h>
#include <qrb/SharedString.h>
#include <qrb/URL.h>

#include "QRBSourceControlForward.h"

/// The host's keeper of accounts, registered with QRBSourceControlAccount. The library calls it from any thread, with
/// none of an account's locks held.
class QRB_EXPORT QRBSourceControlAccountManager {
 public:
  virtual ~QRBSourceControlAccountManager() = default;

  /// An account's strategy was set, and the account may have to be saved. `previousUsername` is what it had before;
  /// absent where there was none or it is not known to have changed.
  virtual void accountChanged(const QRBSourceControlAccountPtr& account, const qrb::String& previousUsername) = 0;

  /// The account that serves the repository. When there is none, a new one with that strategy, kept from now on, if
  /// `createIfNeeded` says so, else null.
  virtual QRBSourceControlAccountPtr existingAccountForRepository(
      const QRBSourceControlRemoteRepositoryPtr& repository,
      const QRBSourceControlAuthenticationStrategyPtr& authenticationStrategy, bool createIfNeeded) = 0;
  /// The certificate fingerprint that the user trusts of the repository's server; absent when there is none.
  virtual qrb::String existingFingerprintForRepository(const QRBSourceControlRemoteRepositoryPtr& repository) = 0;
  /// Keeps an account from now on; one that is kept already stays.
  virtual void addAccount(const QRBSourceControlAccountPtr& account) = 0;
  /// The repository that is kept for a URL and system, or null.
  virtual QRBSourceControlRemoteRepositoryPtr knownRepositoryForURL(
      const qrb::URL& url, const QRBSourceControlSystemPtr& sourceControlSystem) = 0;
  /// The account kept that is like this one. When there is none: the account itself, kept from now on if `addingIfNew`
  /// says so.
  virtual QRBSourceControlAccountPtr existingAccountLikeAccount(const QRBSourceControlAccountPtr& account,
                                                                bool addingIfNew) = 0;
};
