#include "QRBSourceControlRemoteRepository.h"

#include <utility>

#include "KeyedArchiver.h"
#include "KeyedUnarchiver.h"
#include "Localization.h"
#include "QRBSourceControlAccount.h"
#include "QRBSourceControlAccountManager.h"
#include "QRBSourceControlAuthenticationStrategy.h"
#include "QRBSourceControlRevision.h"
#include "QRBSourceControlSingleRepositoryAccount.h"
#include "QRBSourceControlSystem.h"
#include "QRBSourceControlURL.h"

QRB_DEFINE_OBJECT(QRBSourceControlRemoteRepository, QRBSourceControlRepository, "QRBSourceControlRemoteRepository",
                  &QRBSourceControlRemoteRepository::initWithCoder);

namespace {

using RemoteRepository = QRBSourceControlRemoteRepository;
using RemoteRepositoryPtr = QRBSourceControlRemoteRepositoryPtr;

RemoteRepositoryPtr identified(RemoteRepositoryPtr repository, qrb::String identifier) {
  repository->setIdentifier(std::move(identifier));
  return repository;
}

RemoteRepositoryPtr identified(RemoteRepositoryPtr repository, qrb::String identifier,
                               qrb::String secondaryIdentifier) {
  if (secondaryIdentifier) repository->setSecondaryIdentifier(std::move(secondaryIdentifier));
  return identified(std::move(repository), std::move(identifier));
}

}  // namespace

// Initialisers

RemoteRepositoryPtr RemoteRepository::_initWithURL(qrb::URL URL, QRBSourceControlSystemPtr system) {
  auto repository = std::make_shared<QRBSourceControlRemoteRepository>(Key());
  repository->setUpWithURL(std::move(URL), std::move(system));
  return repository;
}

RemoteRepositoryPtr RemoteRepository::_initWithURL(qrb::URL URL, QRBSourceControlSystemPtr system,
                                                   const QRBSourceControlAuthenticationStrategyPtr& strategy,
                                                   bool save) {
  auto repository = _initWithURL(std::move(URL), std::move(system));
  auto manager = QRBSourceControlAccount::sharedAccountManager();
  QRBSourceControlAccountPtr account;
  if (manager != nullptr) account = manager->existingAccountForRepository(repository, strategy, save);
  if (account == nullptr) {
    account = QRBSourceControlSingleRepositoryAccount::initWithRepository(repository, strategy);
    if (manager != nullptr) account->setSavingDisabled(!save);
  }
  repository->setAccount(std::move(account));
  if (manager != nullptr)
    repository->setTrustedServerFingerprint(manager->existingFingerprintForRepository(repository));
  return repository;
}

RemoteRepositoryPtr RemoteRepository::_initWithURL(qrb::URL URL, QRBSourceControlSystemPtr system,
                                                   QRBSourceControlAccountPtr account, bool save) {
  auto repository = _initWithURL(std::move(URL), std::move(system));
  repository->setAccount(account);
  if (account == nullptr) return repository;
  auto manager = QRBSourceControlAccount::sharedAccountManager();
  if (manager != nullptr && save) manager->addAccount(account);
  account->setSavingDisabled(!save);
  return repository;
}

RemoteRepositoryPtr RemoteRepository::initWithURL(qrb::URL URL, QRBSourceControlSystemPtr sourceControlSystem) {
  return _initWithURL(std::move(URL), std::move(sourceControlSystem),
                      QRBSourceControlAuthenticationStrategy::sharedAnonymousStrategy(), true);
}

RemoteRepositoryPtr RemoteRepository::initUnsavedWithURL(qrb::URL URL, QRBSourceControlSystemPtr sourceControlSystem) {
  return _initWithURL(std::move(URL), std::move(sourceControlSystem),
                      QRBSourceControlAuthenticationStrategy::sharedAnonymousStrategy(), false);
}

RemoteRepositoryPtr RemoteRepository::initUnsavedWithURL(qrb::URL URL, qrb::String identifier,
                                                         QRBSourceControlSystemPtr sourceControlSystem) {
  return identified(initUnsavedWithURL(std::move(URL), std::move(sourceControlSystem)), std::move(identifier));
}

RemoteRepositoryPtr RemoteRepository::initUnsavedWithURL(qrb::URL URL, qrb::String identifier,
                                                         qrb::String secondaryIdentifier,
                                                         QRBSourceControlSystemPtr sourceControlSystem) {
  return identified(initUnsavedWithURL(std::move(URL), std::move(sourceControlSystem)), std::move(identifier),
                    std::move(secondaryIdentifier));
}

RemoteRepositoryPtr RemoteRepository::initWithURL(qrb::URL URL, QRBSourceControlSystemPtr sourceControlSystem,
                                                  QRBSourceControlAccountPtr account) {
  return _initWithURL(std::move(URL), std::move(sourceControlSystem), std::move(account), true);
}

RemoteRepositoryPtr RemoteRepository::initWithURLUnsavedAccount(qrb::URL URL,
                                                                QRBSourceControlSystemPtr sourceControlSystem,
                                                                QRBSourceControlAccountPtr unsavedAccount) {
  return _initWithURL(std::move(URL), std::move(sourceControlSystem), std::move(unsavedAccount), false);
}

RemoteRepositoryPtr RemoteRepository::initWithURL(qrb::URL URL, qrb::String identifier,
                                                  QRBSourceControlSystemPtr sourceControlSystem,
                                                  QRBSourceControlAccountPtr account) {
  return identified(initWithURL(std::move(URL), std::move(sourceControlSystem), std::move(account)),
                    std::move(identifier));
}

RemoteRepositoryPtr RemoteRepository::initWithURLUnsavedAccount(qrb::URL URL, qrb::String identifier,
                                                                QRBSourceControlSystemPtr sourceControlSystem,
                                                                QRBSourceControlAccountPtr unsavedAccount) {
  return identified(
      initWithURLUnsavedAccount(std::move(URL), std::move(sourceControlSystem), std::move(unsavedAccount)),
      std::move(identifier));
}

RemoteRepositoryPtr RemoteRepository::initWithURL(qrb::URL URL, QRBSourceControlSystemPtr sourceControlSystem,
                                                  QRBSourceControlAuthenticationStrategyPtr authenticationStrategy) {
  return _initWithURL(std::move(URL), std::move(sourceControlSystem), authenticationStrategy, true);
}

RemoteRepositoryPtr RemoteRepository::initWithURLUnsavedAuthenticationStrategy(
    qrb::URL URL, QRBSourceControlSystemPtr sourceControlSystem,
    QRBSourceControlAuthenticationStrategyPtr unsavedAuthenticationStrategy) {
  return _initWithURL(std::move(URL), std::move(sourceControlSystem), unsavedAuthenticationStrategy, false);
}

RemoteRepositoryPtr RemoteRepository::initWithURL(qrb::URL URL, qrb::String identifier,
                                                  QRBSourceControlSystemPtr sourceControlSystem,
                                                  QRBSourceControlAuthenticationStrategyPtr authenticationStrategy) {
  return identified(initWithURL(std::move(URL), std::move(sourceControlSystem), std::move(authenticationStrategy)),
                    std::move(identifier));
}

RemoteRepositoryPtr RemoteRepository::initWithURL(qrb::URL URL, qrb::String identifier, qrb::String secondaryIdentifier,
                                                  QRBSourceControlSystemPtr sourceControlSystem,
                                                  QRBSourceControlAuthenticationStrategyPtr authenticationStrategy) {
  return identified(initWithURL(std::move(URL), std::move(sourceControlSystem), std::move(authenticationStrategy)),
                    std::move(identifier), std::move(secondaryIdentifier));
}

RemoteRepositoryPtr RemoteRepository::initWithURLUnsavedAuthenticationStrategy(
    qrb::URL URL, qrb::String identifier, QRBSourceControlSystemPtr sourceControlSystem,
    QRBSourceControlAuthenticationStrategyPtr unsavedAuthenticationStrategy) {
  return identified(initWithURLUnsavedAuthenticationStrategy(std::move(URL), std::move(sourceControlSystem),
                                                             std::move(unsavedAuthenticationStrategy)),
                    std::move(identifier));
}

RemoteRepositoryPtr RemoteRepository::initWithURLUnsavedAuthenticationStrategy(
    qrb::URL URL, qrb::String identifier, qrb::String secondaryIdentifier,
    QRBSourceControlSystemPtr sourceControlSystem,
    QRBSourceControlAuthenticationStrategyPtr unsavedAuthenticationStrategy) {
  return identified(initWithURLUnsavedAuthenticationStrategy(std::move(URL), std::move(sourceControlSystem),
                                                             std::move(unsavedAuthenticationStrategy)),
                    std::move(identifier), std::move(secondaryIdentifier));
}

// The account

RemoteRepositoryPtr RemoteRepository::sharedSelf() {
  return std::static_pointer_cast<QRBSourceControlRemoteRepository>(shared_from_this());
}

RemoteRepository::~QRBSourceControlRemoteRepository() {
  // Without waiting for a callback: it may be waiting for a lock of whoever let go of this object.
  _accountObservation.detach();
}

QRBSourceControlAccountPtr RemoteRepository::account() const {
  std::lock_guard lock(_accountMutex);
  return _account;
}

void RemoteRepository::setAccount(QRBSourceControlAccountPtr account) {
  qrb::ObserverToken observation;
  if (account != nullptr) {
    observation = account->observeAuthenticationStrategy([observers = _strategyObservers] { observers->notify(); });
  }
  {
    std::lock_guard lock(_accountMutex);
    std::swap(_account, account);
    std::swap(_accountObservation, observation);
  }
  // The previous account and its callback end outside the lock, and without waiting for a call that may be setting this
  // very account.
  observation.detach();
  _strategyObservers->notify();
}

qrb::ObserverToken RemoteRepository::observeAuthenticationStrategy(std::function<void()> callback) {
  return _strategyObservers->observe(std::move(callback));
}

QRBSourceControlAuthenticationStrategyPtr RemoteRepository::authenticationStrategy() const {
  QRBSourceControlAccountPtr owner = account();
  return owner == nullptr ? nullptr : owner->authenticationStrategy();
}

void RemoteRepository::setAuthenticationStrategy(QRBSourceControlAuthenticationStrategyPtr strategy) {
  if (QRBSourceControlAccountPtr owner = account()) owner->setAuthenticationStrategy(std::move(strategy));
}

std::vector<qrb::String> RemoteRepository::keyPathsForValuesAffectingAuthenticationStrategy() {
  return {"account.authenticationStrategy"};
}

qrb::URL RemoteRepository::anonymousURL() const {
  // The helper knows passwords of few characters only.
  return qrbscm_anonymousURL(URL().withoutPassword());
}

void RemoteRepository::saveAccount() {
  QRBSourceControlAccountPtr owner = account();
  if (owner == nullptr) return;
  if (auto manager = QRBSourceControlAccount::sharedAccountManager()) manager->addAccount(owner);
  owner->setSavingDisabled(false);
}

std::string RemoteRepository::description() const {
  QRBSourceControlAuthenticationStrategyPtr strategy = authenticationStrategy();
  return qrb::format("%@ Authentication:%@",
                     {QRBSourceControlRepository::description(),
                      strategy == nullptr ? qrb::String() : qrb::String(strategy->description())});
}

std::shared_ptr<qrb::Object> RemoteRepository::copy() const {
  QRBSourceControlAccountPtr owner = account();
  QRBSourceControlAuthenticationStrategyPtr strategy;
  if (owner != nullptr && owner->authenticationStrategy() != nullptr) {
    strategy =
        std::static_pointer_cast<const QRBSourceControlAuthenticationStrategy>(owner->authenticationStrategy()->copy());
  }
  bool save = owner == nullptr || !owner->savingDisabled();
  auto made = save ? initWithURL(URL(), identifier(), secondaryIdentifier(), sourceControlSystem(), strategy)
                   : initWithURLUnsavedAuthenticationStrategy(URL(), identifier(), secondaryIdentifier(),
                                                              sourceControlSystem(), strategy);
  made->setEnforceTrustedServerFingerprint(enforceTrustedServerFingerprint());
  made->setTrustedServerFingerprint(trustedServerFingerprint());
  return made;
}

// The archive

std::shared_ptr<qrb::Object> RemoteRepository::initWithCoder(qrb::KeyedUnarchiver& coder) {
  auto decoded = std::make_shared<QRBSourceControlRemoteRepository>(Key());
  decoded->decodeFromCoder(coder);
  decoded->setEnforceTrustedServerFingerprint(coder.decode<bool>("enforceTrustedServerFingerprint"));
  decoded->setTrustedServerFingerprint(coder.decode<qrb::String>("trustedServerFingerprint"));
  auto manager = QRBSourceControlAccount::sharedAccountManager();
  RemoteRepositoryPtr known;
  if (manager != nullptr) known = manager->knownRepositoryForURL(decoded->URL(), decoded->sourceControlSystem());
  if (known == nullptr) {
    decoded->decodeAccountFromCoder(coder);
    return decoded;
  }
  known->setIdentifier(decoded->identifier());
  if (decoded->enforceTrustedServerFingerprint()) known->setEnforceTrustedServerFingerprint(true);
  if (!known->trustedServerFingerprint()) known->setTrustedServerFingerprint(decoded->trustedServerFingerprint());
  return known;
}

void RemoteRepository::decodeAccountFromCoder(qrb::KeyedUnarchiver& coder) {
  auto owner = coder.decode<QRBSourceControlAccountPtr>("account");
  auto manager = QRBSourceControlAccount::sharedAccountManager();
  if (manager != nullptr && owner != nullptr) owner = manager->existingAccountLikeAccount(owner, true);
  setAccount(owner);
  if (owner != nullptr && owner->classInfo().isKindOf(QRBSourceControlSingleRepositoryAccount::staticClass())) {
    static_cast<QRBSourceControlSingleRepositoryAccount&>(*owner).setRepository(sharedSelf());
  }
}

void RemoteRepository::encodeWithCoder(qrb::KeyedArchiver& coder) const {
  coder.encode("enforceTrustedServerFingerprint", enforceTrustedServerFingerprint());
  coder.encode("trustedServerFingerprint", trustedServerFingerprint());
  coder.encode("account", account());
  QRBSourceControlRepository::encodeWithCoder(coder);
}
