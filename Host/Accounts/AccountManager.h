#pragma once

#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "AccountFile.h"
#include "AccountRecord.h"
#include "QRBSourceControlAccountManager.h"
#include "SecretStore.h"

namespace host {

/// The program's accounts. The list is kept in a file, secrets in the user's secret store where there is one, else only
/// for as long as the program runs.
///
/// What is kept without the user's doing (the library keeps an account for each remote repository that it meets) is
/// saved only when it has credentials: anonymous ones last as long as the process. Any thread; calls may read and write
/// the file and the secret store.
class AccountManager final : public QRBSourceControlAccountManager {
 public:
  using ErrorHandler = std::function<void(const qrb::Error& error)>;
  using SecretStoreMaker = std::function<std::shared_ptr<SecretStore>()>;

  /// Reads the file when the accounts are first wanted, and makes the store (null: none) when a secret is. The handler
  /// hears of failures for which the interface has no return; any thread.
  AccountManager(std::string path, SecretStoreMaker makeSecretStore, ErrorHandler errorHandler);

  void accountChanged(const QRBSourceControlAccountPtr& account, const qrb::String& previousUsername) override;
  /// Among several, the one with credentials, then the one of the nearest URL. An account serves when its strategy can
  /// be the one asked for: the same kind and user, or any where the anonymous one is asked for.
  QRBSourceControlAccountPtr existingAccountForRepository(
      const QRBSourceControlRemoteRepositoryPtr& repository,
      const QRBSourceControlAuthenticationStrategyPtr& authenticationStrategy, bool createIfNeeded) override;
  qrb::String existingFingerprintForRepository(const QRBSourceControlRemoteRepositoryPtr& repository) override;
  void addAccount(const QRBSourceControlAccountPtr& account) override;
  /// One of the repositories that are alive, for which an account was kept.
  QRBSourceControlRemoteRepositoryPtr knownRepositoryForURL(
      const qrb::URL& url, const QRBSourceControlSystemPtr& sourceControlSystem) override;
  QRBSourceControlAccountPtr existingAccountLikeAccount(const QRBSourceControlAccountPtr& account,
                                                        bool addingIfNew) override;

  // What the user does with the list.

  /// Every account kept, in the order of the file, without having looked for secrets.
  qrb::Result<std::vector<QRBSourceControlAccountPtr>> list();
  /// Saves an account, with its secret, whatever its kind. Refused where there is one of that name or one like it.
  qrb::Error save(const QRBSourceControlAccountPtr& account, const qrb::String& fingerprint = {});
  /// Keeps what is trusted of the repository's server: with the accounts that serve the repository, or with a new,
  /// anonymous one.
  qrb::Error trust(const QRBSourceControlRemoteRepositoryPtr& repository, const qrb::String& fingerprint);
  /// Forgets an account and its secret.
  qrb::Error remove(const QRBSourceControlAccountPtr& account);
  /// The strategy with what the secret store has for it, where its own secret is empty.
  qrb::Result<QRBSourceControlAuthenticationStrategyPtr> strategyWithSecret(const QRBSourceControlAccountPtr& account);
  /// Whether secrets outlive the program.
  bool keepsSecrets();

 private:
  struct Kept {
    QRBSourceControlAccountPtr account;
    // What it is in the file; absent while it is not there.
    std::optional<AccountIdentity> saved;
    qrb::String fingerprint;
  };
  using RepositoryKey = std::pair<std::string, std::string>;

  // With _mutex held.
  qrb::Error load();
  // Where nobody could be told otherwise: the first time, the error handler is.
  void loadForLibrary();
  Kept* find(const QRBSourceControlAccountPtr& account);
  Kept* findLike(const QRBSourceControlAccountPtr& account);
  const Kept* bestFor(const qrb::URL& url, const QRBSourceControlAuthenticationStrategyPtr& strategy) const;
  qrb::Error saveRecord(Kept& kept);
  void remember(const QRBSourceControlRemoteRepositoryPtr& repository);

  std::shared_ptr<SecretStore> secretStore();
  void keep(const QRBSourceControlAccountPtr& account);
  qrb::Error storeSecret(const QRBSourceControlAccountPtr& account);
  void fillSecret(const QRBSourceControlAccountPtr& account);
  void report(const qrb::Error& error) const;

  const AccountFile _file;
  const SecretStoreMaker _makeSecretStore;
  const ErrorHandler _errorHandler;
  std::once_flag _secretStoreMade;
  std::shared_ptr<SecretStore> _secretStore;
  // Guards what follows. Nothing of an account is set while it is held, since that calls back.
  std::mutex _mutex;
  bool _loaded = false;
  qrb::Error _loadError;
  bool _loadErrorTold = false;
  std::vector<Kept> _kept;
  std::map<RepositoryKey, std::weak_ptr<QRBSourceControlRemoteRepository>> _repositories;
};

}  // namespace host
