#pragma once

#include <atomic>
#include <functional>
#include <mutex>
#include <vector>

#include <qrb/AtomicProperty.h>
#include <qrb/Dictionary.h>
#include <qrb/Export.h>
#include <qrb/Object.h>
#include <qrb/Observer.h>
#include <qrb/URL.h>

#include "QRBSourceControlAccountManager.h"
#include "QRBSourceControlCallbacks.h"
#include "QRBSourceControlForward.h"

/// Where a host's account manager keeps its list among the user's settings. The value is one letter shorter than the
/// name, and stored settings know it so.
inline constexpr const char* QRBSourceControlAccountsDefaultsKey = "QRBSourceControlAccountDefaultsKey";

/// Keys of `dictionaryRepresentation`. All are texts but the kind of authentication, which is a number; what is absent
/// has no entry.
inline constexpr const char* QRBSourceControlAccountNameKey = "QRBSourceControlAccountNameKey";
inline constexpr const char* QRBSourceControlAccountURLKey = "QRBSourceControlAccountURLKey";
inline constexpr const char* QRBSourceControlAccountUsernameKey = "QRBSourceControlAccountUsernameKey";
inline constexpr const char* QRBSourceControlAccountSSHKeyPath = "QRBSourceControlAccountSSHKeyPath";
inline constexpr const char* QRBSourceControlAccountAuthTypeKey = "QRBSourceControlAccountAuthTypeKey";

/// A saved server: what it is called, where it is, and how to authenticate there. Equal only to itself.
///
/// Every accessor may be called from any thread.
class QRB_EXPORT QRBSourceControlAccount : public qrb::Object,
                                           public std::enable_shared_from_this<QRBSourceControlAccount> {
  QRB_OBJECT;

 protected:
  struct Key {
    explicit Key() = default;
  };

 public:
  /// Without a strategy, or with one that cannot serve the URL, the account is anonymous.
  static QRBSourceControlAccountPtr initWithName(qrb::String accountName, qrb::URL hostURL,
                                                 QRBSourceControlAuthenticationStrategyPtr authenticationStrategy);
  explicit QRBSourceControlAccount(Key);

  /// The host's one account manager, kept until another takes its place (null: none).
  static void registerAccountManager(std::shared_ptr<QRBSourceControlAccountManager> accountManager);
  /// The one registered last; null when none is. Shared: it lives on while its caller holds it, registered or not.
  static std::shared_ptr<QRBSourceControlAccountManager> sharedAccountManager();
  /// Asks the SSH helper service for the hosts that the user's SSH knows: host to fingerprint.
  static QRBSourceControlCancellablePtr knownSSHHostsAndFingerprintsWithCompletionBlock(
      QRBSourceControlCompletionBlock<qrb::Dictionary> completionBlock);

  /// What the user calls it; may be absent. Setting it tells nobody.
  qrb::String accountName() const { return _accountName.get(); }
  void setAccountName(qrb::String accountName) { _accountName.set(std::move(accountName)); }
  /// The server, or one repository on it. Setting it keeps the strategy, even one that cannot serve the new URL, and
  /// tells nobody.
  qrb::URL hostURL() const { return _hostURL.get(); }
  void setHostURL(qrb::URL hostURL) { _hostURL.set(std::move(hostURL)); }
  /// The host's own: whether the user wants it used. True in new accounts, and archived.
  bool enabled() const { return _enabled; }
  void setEnabled(bool enabled) { _enabled = enabled; }
  /// While true, the account manager hears of no change.
  bool savingDisabled() const { return _savingDisabled; }
  void setSavingDisabled(bool savingDisabled) { _savingDisabled = savingDisabled; }

  /// Never null.
  QRBSourceControlAuthenticationStrategyPtr authenticationStrategy() const;
  /// Ignores null. A strategy that cannot serve the host URL is not stored; user name and password that the URL carries
  /// take the place of the strategy's. Observers and then the account manager are told in either case.
  void setAuthenticationStrategy(QRBSourceControlAuthenticationStrategyPtr authenticationStrategy);
  /// What was stored under the current strategy's name has changed: tells the account manager.
  void updatedExistingStrategy();
  /// Called after each setting of the strategy, with the account locked: the callback may read it, and must wait for no
  /// other thread that does.
  [[nodiscard]] qrb::ObserverToken observeAuthenticationStrategy(std::function<void()> callback);

  /// Whether the account can be used; does nothing and answers null where the class does not know how.
  virtual QRBSourceControlCancellablePtr validateAuthenticationWithCompletionBlock(
      QRBSourceControlCompletionBlock<> completionBlock);
  /// The repositories that the account gives access to; does nothing and answers null where the class does not know
  /// how.
  virtual QRBSourceControlCancellablePtr listRepositoriesWithCompletionBlock(
      QRBSourceControlCompletionBlock<std::vector<QRBSourceControlRemoteRepositoryPtr>> completionBlock);

  /// Plain values for storing; never a password or passphrase.
  virtual qrb::Dictionary dictionaryRepresentation() const;

  std::string description() const override;
  /// A new account, of the same class, with the same name, URL, enabled flag and exactly the same strategy; that may be
  /// saved.
  std::shared_ptr<qrb::Object> copy() const override;

  /// For archives. A key that is missing leaves its field absent, false or 0; a value of another type throws
  /// ArchiveError. Without a strategy the account is anonymous.
  static std::shared_ptr<qrb::Object> initWithCoder(qrb::KeyedUnarchiver& coder);
  /// The strategy goes along, password or passphrase included: such an archive is itself a secret.
  void encodeWithCoder(qrb::KeyedArchiver& coder) const override;

 protected:
  /// Fills a new account, unheard by the account manager.
  void build(qrb::String accountName, qrb::URL hostURL,
             QRBSourceControlAuthenticationStrategyPtr authenticationStrategy, bool enabled);
  /// Takes over name, URL, enabled flag and strategy as they are.
  void buildLike(const QRBSourceControlAccount& other);
  /// What `initWithCoder` reads, into an account of a subclass.
  void decode(qrb::KeyedUnarchiver& coder);

 private:
  void restore(qrb::String accountName, qrb::URL hostURL,
               QRBSourceControlAuthenticationStrategyPtr authenticationStrategy, bool enabled);
  void tellAccountManager(const qrb::String& previousUsername);

  qrb::Atomic<qrb::String> _accountName;
  qrb::Atomic<qrb::URL> _hostURL;
  std::atomic<bool> _enabled{true};
  std::atomic<bool> _savingDisabled{false};
  // Recursive, because observers read what they hear of.
  mutable std::recursive_mutex _lock;
  QRBSourceControlAuthenticationStrategyPtr _authenticationStrategy;
  qrb::ObserverList<> _authenticationStrategyObservers;
};
