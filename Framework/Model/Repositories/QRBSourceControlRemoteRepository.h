#pragma once

#include <cstdint>
#include <functional>
#include <mutex>

#include <qrb/Observer.h>

#include "QRBSourceControlRepository.h"

/// A repository on a server, with the account that says how to authenticate there and what is trusted of the server.
///
/// Initialisers take their account from the registered account manager, where there is one, and without `unsaved` have
/// it saved there; a strategy that is not given is the anonymous one. None of them answers null.
class QRB_EXPORT QRBSourceControlRemoteRepository final : public QRBSourceControlRepository {
  QRB_OBJECT;

 public:
  /// Anonymous at first; saved.
  static QRBSourceControlRemoteRepositoryPtr initWithURL(qrb::URL URL, QRBSourceControlSystemPtr sourceControlSystem);
  /// Anonymous at first, and unsaved until `saveAccount`; so are the two that follow, under the given identifiers.
  static QRBSourceControlRemoteRepositoryPtr initUnsavedWithURL(qrb::URL URL,
                                                                QRBSourceControlSystemPtr sourceControlSystem);
  static QRBSourceControlRemoteRepositoryPtr initUnsavedWithURL(qrb::URL URL, qrb::String identifier,
                                                                QRBSourceControlSystemPtr sourceControlSystem);
  /// An absent secondary identifier leaves the one derived from the URL, here and in all that take one.
  static QRBSourceControlRemoteRepositoryPtr initUnsavedWithURL(qrb::URL URL, qrb::String identifier,
                                                                qrb::String secondaryIdentifier,
                                                                QRBSourceControlSystemPtr sourceControlSystem);

  /// With this very account, which the account manager is given to keep; nothing is trusted of the server yet. Null
  /// leaves the repository without an account, here and in the three that follow.
  static QRBSourceControlRemoteRepositoryPtr initWithURL(qrb::URL URL, QRBSourceControlSystemPtr sourceControlSystem,
                                                         QRBSourceControlAccountPtr account);
  /// With this very account, whose saving is disabled until `saveAccount`.
  static QRBSourceControlRemoteRepositoryPtr initWithURLUnsavedAccount(qrb::URL URL,
                                                                       QRBSourceControlSystemPtr sourceControlSystem,
                                                                       QRBSourceControlAccountPtr unsavedAccount);
  /// As the two before, under an identifier, which may be absent.
  static QRBSourceControlRemoteRepositoryPtr initWithURL(qrb::URL URL, qrb::String identifier,
                                                         QRBSourceControlSystemPtr sourceControlSystem,
                                                         QRBSourceControlAccountPtr account);
  static QRBSourceControlRemoteRepositoryPtr initWithURLUnsavedAccount(qrb::URL URL, qrb::String identifier,
                                                                       QRBSourceControlSystemPtr sourceControlSystem,
                                                                       QRBSourceControlAccountPtr unsavedAccount);

  /// With the account that the account manager has for the repository, and then that account's strategy; with a new one
  /// of the given strategy where it has none. The trusted fingerprint is the account manager's.
  static QRBSourceControlRemoteRepositoryPtr initWithURL(
      qrb::URL URL, QRBSourceControlSystemPtr sourceControlSystem,
      QRBSourceControlAuthenticationStrategyPtr authenticationStrategy);
  /// As the one before, but a new account is unsaved until `saveAccount`.
  static QRBSourceControlRemoteRepositoryPtr initWithURLUnsavedAuthenticationStrategy(
      qrb::URL URL, QRBSourceControlSystemPtr sourceControlSystem,
      QRBSourceControlAuthenticationStrategyPtr unsavedAuthenticationStrategy);
  /// As the two before, under an identifier and, where it is taken, a secondary one; either may be absent.
  static QRBSourceControlRemoteRepositoryPtr initWithURL(
      qrb::URL URL, qrb::String identifier, QRBSourceControlSystemPtr sourceControlSystem,
      QRBSourceControlAuthenticationStrategyPtr authenticationStrategy);
  static QRBSourceControlRemoteRepositoryPtr initWithURL(
      qrb::URL URL, qrb::String identifier, qrb::String secondaryIdentifier,
      QRBSourceControlSystemPtr sourceControlSystem, QRBSourceControlAuthenticationStrategyPtr authenticationStrategy);
  static QRBSourceControlRemoteRepositoryPtr initWithURLUnsavedAuthenticationStrategy(
      qrb::URL URL, qrb::String identifier, QRBSourceControlSystemPtr sourceControlSystem,
      QRBSourceControlAuthenticationStrategyPtr unsavedAuthenticationStrategy);
  static QRBSourceControlRemoteRepositoryPtr initWithURLUnsavedAuthenticationStrategy(
      qrb::URL URL, qrb::String identifier, qrb::String secondaryIdentifier,
      QRBSourceControlSystemPtr sourceControlSystem,
      QRBSourceControlAuthenticationStrategyPtr unsavedAuthenticationStrategy);
  explicit QRBSourceControlRemoteRepository(Key key) : QRBSourceControlRepository(key) {}
  ~QRBSourceControlRemoteRepository() override;

  /// Whether the server's certificate must have `trustedServerFingerprint`. True in new objects.
  bool enforceTrustedServerFingerprint() const { return _enforceTrustedServerFingerprint.get(); }
  void setEnforceTrustedServerFingerprint(bool enforce) { _enforceTrustedServerFingerprint.set(enforce); }
  /// Absent when nothing is trusted of the server yet.
  qrb::String trustedServerFingerprint() const { return _trustedServerFingerprint.get(); }
  void setTrustedServerFingerprint(qrb::String fingerprint) { _trustedServerFingerprint.set(std::move(fingerprint)); }
  /// How it is to be authenticated; may be null.
  QRBSourceControlAccountPtr account() const;
  /// Replaces the account, and tells those who observe the strategy.
  void setAccount(QRBSourceControlAccountPtr account);
  /// The host's own; neither archived nor copied.
  std::uint64_t state() const { return _state.get(); }
  void setState(std::uint64_t state) { _state.set(state); }
  /// The account's; null without an account.
  QRBSourceControlAuthenticationStrategyPtr authenticationStrategy() const;
  /// Sets the account's, as `QRBSourceControlAccount::setAuthenticationStrategy` says; nothing without an account.
  void setAuthenticationStrategy(QRBSourceControlAuthenticationStrategyPtr strategy);
  /// The properties whose changes change `authenticationStrategy`.
  static std::vector<qrb::String> keyPathsForValuesAffectingAuthenticationStrategy();
  /// Calls back after each setting of the current account's strategy and after each `setAccount`, on the thread that
  /// sets. The callback may read the strategy and must wait for no other thread that does, as the account may be
  /// locked; it may be called when nothing differs, so compare. Destroying the token ends it.
  [[nodiscard]] qrb::ObserverToken observeAuthenticationStrategy(std::function<void()> callback);
  /// The URL without user name and password.
  qrb::URL anonymousURL() const;
  /// Adds the account to the account manager, and lets it be saved from now on.
  void saveAccount();

  /// As a repository's, and the strategy's own description.
  std::string description() const override;
  /// A remote repository with the same URL, identifiers, system, strategy and trust, a new `_id`, and an account found
  /// as for a new one: saved only if this one's account is.
  std::shared_ptr<qrb::Object> copy() const override;
  /// When the account manager knows the repository already, that object is the result, with the identifier and what is
  /// trusted of the server taken over.
  static std::shared_ptr<qrb::Object> initWithCoder(qrb::KeyedUnarchiver& coder);
  /// The account goes along with its strategy, password or passphrase included: such an archive is itself a secret.
  void encodeWithCoder(qrb::KeyedArchiver& coder) const override;

  /// Finds the root of the repository that the URL points into, and moves this object and its account there. The block
  /// gets the repository to use from now on: this one, or one that the account manager has at that URL already; and
  /// where the old URL was below it. Refused with QRBSourceControlError_SystemRootURLOfRepositoriesUnsupported.
  QRBSourceControlCancellablePtr updateRepositoryURLRootWithCompletionBlock(
      Completion<QRBSourceControlRemoteRepositoryPtr, QRBSourceControlPathLocationPtr> completionBlock);
  /// Whether the server lets the account in; never asks the user.
  QRBSourceControlCancellablePtr validateAuthenticationForLocation(QRBSourceControlRevisionLocationPtr location,
                                                                   Layout branchAndTagLocations,
                                                                   Completion<> completionBlock);
  /// Checks the repository out at a location into the folder at a file URL; the completion gets the working copy. The
  /// shipped plug-in for Git leaves nothing behind of what failed or was cancelled, and replaces nothing but an empty
  /// folder.
  QRBSourceControlCancellablePtr createWorkingCopyAtURL(qrb::URL URL, QRBSourceControlRevisionLocationPtr location,
                                                        Layout branchAndTagLocations,
                                                        QRBSourceControlProgressBlock progressBlock,
                                                        Completion<QRBSourceControlWorkingCopyPtr> completionBlock);

 private:
  static QRBSourceControlRemoteRepositoryPtr _initWithURL(qrb::URL URL, QRBSourceControlSystemPtr system);
  static QRBSourceControlRemoteRepositoryPtr _initWithURL(qrb::URL URL, QRBSourceControlSystemPtr system,
                                                          const QRBSourceControlAuthenticationStrategyPtr& strategy,
                                                          bool save);
  static QRBSourceControlRemoteRepositoryPtr _initWithURL(qrb::URL URL, QRBSourceControlSystemPtr system,
                                                          QRBSourceControlAccountPtr account, bool save);
  QRBSourceControlRemoteRepositoryPtr sharedSelf();
  void decodeAccountFromCoder(qrb::KeyedUnarchiver& coder);
  QRBSourceControlRemoteRepositoryPtr moveToURLRoot(const qrb::URL& root);

  qrb::Atomic<bool> _enforceTrustedServerFingerprint{true};
  // The account and what is heard from it change together, under the mutex.
  mutable std::mutex _accountMutex;
  QRBSourceControlAccountPtr _account;
  qrb::ObserverToken _accountObservation;
  // Shared with what the account calls, which may outlast this object by one call.
  const std::shared_ptr<qrb::ObserverList<>> _strategyObservers = std::make_shared<qrb::ObserverList<>>();
  qrb::Atomic<std::uint64_t> _state;
  qrb::Atomic<qrb::String> _trustedServerFingerprint;
};
