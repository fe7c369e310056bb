#include "AccountManager.h"

#include <algorithm>
#include <utility>

#include "HostError.h"
#include "QRBSourceControlAccount.h"
#include "QRBSourceControlAuthenticationStrategy.h"
#include "QRBSourceControlRemoteRepository.h"
#include "QRBSourceControlSingleRepositoryAccount.h"
#include "QRBSourceControlSystem.h"

namespace host {

namespace {

using AccountPtr = QRBSourceControlAccountPtr;
using StrategyPtr = QRBSourceControlAuthenticationStrategyPtr;
using RemotePtr = QRBSourceControlRemoteRepositoryPtr;

bool isAnonymous(const StrategyPtr& strategy) {
  return strategy == nullptr || strategy->type() == QRBSourceControlAuthenticationTypeAnonymous;
}

// Whether an account's strategy can stand for the one that was asked for.
bool canStandFor(const StrategyPtr& own, const StrategyPtr& asked) {
  if (isAnonymous(asked)) return true;
  return own->type() == asked->type() && usernameOf(own) == usernameOf(asked);
}

std::pair<std::string, std::string> keyOf(const qrb::URL& url, const QRBSourceControlSystemPtr& system) {
  return {url.absoluteString().str(), system == nullptr ? "" : system->plugInIdentifier().str()};
}

}  // namespace

AccountManager::AccountManager(std::string path, SecretStoreMaker makeSecretStore, ErrorHandler errorHandler)
    : _file(std::move(path)), _makeSecretStore(std::move(makeSecretStore)), _errorHandler(std::move(errorHandler)) {}

void AccountManager::report(const qrb::Error& error) const {
  if (error && _errorHandler) _errorHandler(error);
}

// The list

qrb::Error AccountManager::load() {
  if (_loaded) return _loadError;
  _loaded = true;
  auto records = _file.read();
  if (!records) return _loadError = records.error();
  for (const AccountFile::Record& record : *records) {
    AccountPtr account = accountFromRecord(record);
    if (account == nullptr) continue;
    auto fingerprint = record.find(kFingerprintKey);
    bool isText = fingerprint != record.end() && fingerprint->is_string();
    _kept.push_back({account, identityOf(record), isText ? qrb::String(fingerprint->get<std::string>()) : nullptr});
  }
  return _loadError;
}

void AccountManager::loadForLibrary() {
  if (load() && !std::exchange(_loadErrorTold, true)) report(_loadError);
}

AccountManager::Kept* AccountManager::find(const AccountPtr& account) {
  auto found = std::find_if(_kept.begin(), _kept.end(), [&](const Kept& kept) { return kept.account == account; });
  return found == _kept.end() ? nullptr : &*found;
}

AccountManager::Kept* AccountManager::findLike(const AccountPtr& account) {
  if (Kept* itself = find(account)) return itself;
  AccountIdentity sought = identityOf(account);
  auto found =
      std::find_if(_kept.begin(), _kept.end(), [&](const Kept& kept) { return identityOf(kept.account) == sought; });
  return found == _kept.end() ? nullptr : &*found;
}

const AccountManager::Kept* AccountManager::bestFor(const qrb::URL& url, const StrategyPtr& strategy) const {
  const Kept* best = nullptr;
  std::pair<bool, std::size_t> bestRank;
  for (const Kept& kept : _kept) {
    StrategyPtr own = kept.account->authenticationStrategy();
    qrb::URL place = kept.account->hostURL().withoutPassword();
    if (!kept.account->enabled() || !serves(place, url) || !canStandFor(own, strategy)) continue;
    std::pair<bool, std::size_t> rank{!isAnonymous(own), place.absoluteString().size()};
    if (best != nullptr && rank <= bestRank) continue;
    best = &kept;
    bestRank = rank;
  }
  return best;
}

qrb::Error AccountManager::saveRecord(Kept& kept) {
  AccountIdentity now = identityOf(kept.account);
  qrb::Error error = _file.update([&](AccountFile::Records& records) {
    auto isIts = [&](const AccountFile::Record& record) {
      AccountIdentity identity = identityOf(record);
      return kept.saved ? identity == *kept.saved : identity == now;
    };
    auto record = std::find_if(records.begin(), records.end(), isIts);
    if (record == records.end()) record = records.insert(record, AccountFile::Record::object());
    writeAccount(kept.account, *record);
    if (kept.fingerprint) (*record)[kFingerprintKey] = kept.fingerprint.str();
  });
  if (!error) kept.saved = std::move(now);
  return error;
}

// Secrets

std::shared_ptr<SecretStore> AccountManager::secretStore() {
  std::call_once(_secretStoreMade, [this] {
    if (_makeSecretStore) _secretStore = _makeSecretStore();
  });
  return _secretStore;
}

bool AccountManager::keepsSecrets() {
  return secretStore() != nullptr;
}

qrb::Error AccountManager::storeSecret(const AccountPtr& account) {
  StrategyPtr strategy = account->authenticationStrategy();
  std::string secret = secretOf(strategy);
  if (secret.empty()) return {};
  std::shared_ptr<SecretStore> store = secretStore();
  if (store == nullptr) return {};
  std::string label = "qrbscm: " + account->accountName().str();
  return store->store(secretKeyOf(account, usernameOf(strategy)), label, secret);
}

qrb::Result<StrategyPtr> AccountManager::strategyWithSecret(const AccountPtr& account) {
  StrategyPtr strategy = account->authenticationStrategy();
  if (isAnonymous(strategy) || !secretOf(strategy).empty()) return strategy;
  std::shared_ptr<SecretStore> store = secretStore();
  if (store == nullptr) return strategy;
  auto secret = store->find(secretKeyOf(account, usernameOf(strategy)));
  if (!secret) return secret.error();
  return *secret ? withSecret(strategy, **secret) : strategy;
}

void AccountManager::fillSecret(const AccountPtr& account) {
  auto filled = strategyWithSecret(account);
  report(filled.error());
  if (!filled || *filled == account->authenticationStrategy()) return;
  // It comes from where a change would be saved to.
  bool savingDisabled = account->savingDisabled();
  account->setSavingDisabled(true);
  account->setAuthenticationStrategy(*filled);
  account->setSavingDisabled(savingDisabled);
}

// What the library asks

void AccountManager::keep(const AccountPtr& account) {
  qrb::Error error;
  {
    std::lock_guard lock(_mutex);
    loadForLibrary();
    if (find(account) != nullptr) return;
    _kept.push_back({account, std::nullopt, nullptr});
    if (isAnonymous(account->authenticationStrategy())) return;
    error = saveRecord(_kept.back());
  }
  report(error);
  if (!error) report(storeSecret(account));
}

void AccountManager::addAccount(const AccountPtr& account) {
  if (account != nullptr) keep(account);
}

void AccountManager::accountChanged(const AccountPtr& account, const qrb::String& previousUsername) {
  std::string username = usernameOf(account->authenticationStrategy());
  {
    std::lock_guard lock(_mutex);
    loadForLibrary();
    Kept* kept = find(account);
    if (kept == nullptr || (!kept->saved && isAnonymous(account->authenticationStrategy()))) return;
    if (qrb::Error error = saveRecord(*kept)) return report(error);
  }
  report(storeSecret(account));
  if (previousUsername.empty() || previousUsername.view() == username) return;
  if (std::shared_ptr<SecretStore> store = secretStore()) {
    report(store->remove(secretKeyOf(account, previousUsername.str())));
  }
}

AccountPtr AccountManager::existingAccountForRepository(const RemotePtr& repository, const StrategyPtr& strategy,
                                                        bool createIfNeeded) {
  AccountPtr account;
  {
    std::lock_guard lock(_mutex);
    loadForLibrary();
    if (const Kept* best = bestFor(repository->URL(), strategy)) account = best->account;
    if (createIfNeeded) remember(repository);
  }
  if (account != nullptr) {
    fillSecret(account);
    return account;
  }
  if (!createIfNeeded) return nullptr;
  account = QRBSourceControlSingleRepositoryAccount::initWithRepository(repository, strategy);
  keep(account);
  return account;
}

AccountPtr AccountManager::existingAccountLikeAccount(const AccountPtr& account, bool addingIfNew) {
  if (account == nullptr) return nullptr;
  {
    std::lock_guard lock(_mutex);
    loadForLibrary();
    if (const Kept* like = findLike(account)) return like->account;
  }
  if (addingIfNew) keep(account);
  return account;
}

qrb::String AccountManager::existingFingerprintForRepository(const RemotePtr& repository) {
  std::lock_guard lock(_mutex);
  loadForLibrary();
  for (const Kept& kept : _kept) {
    if (kept.fingerprint && serves(kept.account->hostURL(), repository->URL())) return kept.fingerprint;
  }
  return {};
}

void AccountManager::remember(const RemotePtr& repository) {
  std::erase_if(_repositories, [](const auto& entry) { return entry.second.expired(); });
  // The first one stays: it is the one that others have.
  _repositories.try_emplace(keyOf(repository->URL(), repository->sourceControlSystem()), repository);
}

RemotePtr AccountManager::knownRepositoryForURL(const qrb::URL& url, const QRBSourceControlSystemPtr& system) {
  std::lock_guard lock(_mutex);
  auto found = _repositories.find(keyOf(url, system));
  return found == _repositories.end() ? nullptr : found->second.lock();
}

// What the user does

qrb::Result<std::vector<AccountPtr>> AccountManager::list() {
  std::lock_guard lock(_mutex);
  if (qrb::Error error = load()) return error;
  std::vector<AccountPtr> accounts;
  for (const Kept& kept : _kept) accounts.push_back(kept.account);
  return accounts;
}

qrb::Error AccountManager::save(const AccountPtr& account, const qrb::String& fingerprint) {
  {
    std::lock_guard lock(_mutex);
    if (qrb::Error error = load()) return error;
    auto hasItsName = [&](const Kept& kept) {
      return kept.saved && kept.account->accountName() == account->accountName();
    };
    if (std::any_of(_kept.begin(), _kept.end(), hasItsName)) {
      return hostError("There is an account named \"" + account->accountName().str() + "\" already.",
                       "Choose another name, or remove that account first.", EEXIST);
    }
    Kept* like = findLike(account);
    if (like != nullptr && like->saved) {
      return hostError("The account \"" + like->account->accountName().str() + "\" is for the same server and user.",
                       "Remove that account first.", EEXIST);
    }
    Kept kept{account, std::nullopt, fingerprint};
    if (qrb::Error error = saveRecord(kept)) return error;
    _kept.push_back(std::move(kept));
  }
  return storeSecret(account);
}

qrb::Error AccountManager::trust(const RemotePtr& repository, const qrb::String& fingerprint) {
  std::lock_guard lock(_mutex);
  if (qrb::Error error = load()) return error;
  bool isKept = false;
  for (Kept& kept : _kept) {
    if (!kept.saved || !serves(kept.account->hostURL(), repository->URL())) continue;
    kept.fingerprint = fingerprint;
    if (qrb::Error error = saveRecord(kept)) return error;
    isKept = true;
  }
  if (isKept) return {};
  qrb::URL url = repository->URL().withoutPassword();
  auto anonymous = QRBSourceControlAuthenticationStrategy::sharedAnonymousStrategy();
  Kept kept{QRBSourceControlAccount::initWithName(url.absoluteString(), url, anonymous), std::nullopt, fingerprint};
  if (qrb::Error error = saveRecord(kept)) return error;
  _kept.push_back(std::move(kept));
  return {};
}

qrb::Error AccountManager::remove(const AccountPtr& account) {
  {
    std::lock_guard lock(_mutex);
    if (qrb::Error error = load()) return error;
    Kept* kept = find(account);
    if (kept == nullptr) return {};
    auto isIts = [&](const AccountFile::Record& record) { return kept->saved && identityOf(record) == *kept->saved; };
    qrb::Error error = _file.update([&](AccountFile::Records& records) { std::erase_if(records, isIts); });
    if (error) return error;
    _kept.erase(_kept.begin() + (kept - _kept.data()));
  }
  std::shared_ptr<SecretStore> store = secretStore();
  StrategyPtr strategy = account->authenticationStrategy();
  if (store == nullptr || isAnonymous(strategy)) return {};
  return store->remove(secretKeyOf(account, usernameOf(strategy)));
}

}  // namespace host
