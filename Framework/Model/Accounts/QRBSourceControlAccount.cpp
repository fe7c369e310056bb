#include "QRBSourceControlAccount.h"

#include "KeyedArchiver.h"
#include "KeyedUnarchiver.h"
#include "Localization.h"
#include "QRBSourceControlBasicAuthenticationStrategy.h"
#include "QRBSourceControlSSHKeysAuthenticationStrategy.h"
#include "QRBSourceControlURL.h"

QRB_DEFINE_OBJECT(QRBSourceControlAccount, qrb::Object, "QRBSourceControlAccount",
                  &QRBSourceControlAccount::initWithCoder);

namespace {

using Basic = QRBSourceControlBasicAuthenticationStrategy;
using SSHKeys = QRBSourceControlSSHKeysAuthenticationStrategy;
using StrategyPtr = QRBSourceControlAuthenticationStrategyPtr;

// Never destroyed: requests may end after the host's static objects have.
qrb::Atomic<std::shared_ptr<QRBSourceControlAccountManager>>& registeredAccountManager() {
  static auto& registered = *new qrb::Atomic<std::shared_ptr<QRBSourceControlAccountManager>>();
  return registered;
}

// The strategy as exactly that class, or null.
template <class Class>
const Class* exactly(const StrategyPtr& strategy) {
  bool isExact = strategy != nullptr && &strategy->classInfo() == &Class::staticClass();
  return isExact ? static_cast<const Class*>(strategy.get()) : nullptr;
}

qrb::String usernameOf(const StrategyPtr& strategy) {
  if (const Basic* basic = exactly<Basic>(strategy)) return basic->username();
  if (const SSHKeys* keys = exactly<SSHKeys>(strategy)) return keys->username();
  return {};
}

// What an account at that URL keeps of a strategy: the URL's own user information goes first.
StrategyPtr strategyForURL(const StrategyPtr& strategy, const qrb::URL& url) {
  qrb::String user = qrbscm_user(url);
  if (!user) return strategy;
  if (const Basic* basic = exactly<Basic>(strategy)) {
    qrb::String password = qrbscm_password(url);
    return password ? Basic::initWithURLDefinedUsernameURLDefinedPassword(user, password)
                    : Basic::initWithURLDefinedUsername(user, basic->password());
  }
  if (const SSHKeys* keys = exactly<SSHKeys>(strategy)) {
    return SSHKeys::initWithURLDefinedUsername(user, keys->privateKeyFile(), keys->privateKeyPassword());
  }
  return strategy;
}

}  // namespace

QRBSourceControlAccount::QRBSourceControlAccount(Key)
    : _authenticationStrategy(QRBSourceControlAuthenticationStrategy::sharedAnonymousStrategy()) {}

QRBSourceControlAccountPtr QRBSourceControlAccount::initWithName(qrb::String accountName, qrb::URL hostURL,
                                                                 StrategyPtr authenticationStrategy) {
  auto account = std::make_shared<QRBSourceControlAccount>(Key());
  account->build(std::move(accountName), std::move(hostURL), std::move(authenticationStrategy), true);
  return account;
}

void QRBSourceControlAccount::build(qrb::String accountName, qrb::URL hostURL, StrategyPtr authenticationStrategy,
                                    bool enabled) {
  _savingDisabled = true;
  _accountName.set(std::move(accountName));
  _hostURL.set(std::move(hostURL));
  setAuthenticationStrategy(std::move(authenticationStrategy));
  _enabled = enabled;
  _savingDisabled = false;
}

void QRBSourceControlAccount::buildLike(const QRBSourceControlAccount& other) {
  restore(other.accountName(), other.hostURL(), other.authenticationStrategy(), other.enabled());
}

void QRBSourceControlAccount::restore(qrb::String accountName, qrb::URL hostURL, StrategyPtr authenticationStrategy,
                                      bool enabled) {
  _accountName.set(std::move(accountName));
  _hostURL.set(std::move(hostURL));
  _enabled = enabled;
  // Not through the setter, which would make another strategy of it if the URL was given a user name since.
  std::lock_guard lock(_lock);
  if (authenticationStrategy != nullptr) _authenticationStrategy = std::move(authenticationStrategy);
}

void QRBSourceControlAccount::registerAccountManager(std::shared_ptr<QRBSourceControlAccountManager> accountManager) {
  registeredAccountManager().set(std::move(accountManager));
}

std::shared_ptr<QRBSourceControlAccountManager> QRBSourceControlAccount::sharedAccountManager() {
  return registeredAccountManager().get();
}

StrategyPtr QRBSourceControlAccount::authenticationStrategy() const {
  std::lock_guard lock(_lock);
  return _authenticationStrategy;
}

void QRBSourceControlAccount::setAuthenticationStrategy(StrategyPtr authenticationStrategy) {
  if (authenticationStrategy == nullptr) return;
  qrb::String previousUsername;
  {
    std::lock_guard lock(_lock);
    previousUsername = usernameOf(_authenticationStrategy);
    qrb::URL url = hostURL();
    if (authenticationStrategy != _authenticationStrategy && authenticationStrategy->isValidForURL(url)) {
      _authenticationStrategy = strategyForURL(authenticationStrategy, url);
    }
    _authenticationStrategyObservers.notify();
  }
  tellAccountManager(previousUsername);
}

void QRBSourceControlAccount::updatedExistingStrategy() {
  tellAccountManager(nullptr);
}

void QRBSourceControlAccount::tellAccountManager(const qrb::String& previousUsername) {
  if (_savingDisabled) return;
  if (auto manager = sharedAccountManager()) manager->accountChanged(shared_from_this(), previousUsername);
}

qrb::ObserverToken QRBSourceControlAccount::observeAuthenticationStrategy(std::function<void()> callback) {
  return _authenticationStrategyObservers.observe(std::move(callback));
}

QRBSourceControlCancellablePtr QRBSourceControlAccount::validateAuthenticationWithCompletionBlock(
    QRBSourceControlCompletionBlock<>) {
  return nullptr;
}

QRBSourceControlCancellablePtr QRBSourceControlAccount::listRepositoriesWithCompletionBlock(
    QRBSourceControlCompletionBlock<std::vector<QRBSourceControlRemoteRepositoryPtr>>) {
  return nullptr;
}

qrb::Dictionary QRBSourceControlAccount::dictionaryRepresentation() const {
  auto dictionary = qrb::Dictionary::object();
  auto set = [&](const char* key, const qrb::String& text) {
    if (text) dictionary[key] = text.str();
  };
  StrategyPtr strategy = authenticationStrategy();
  set(QRBSourceControlAccountNameKey, accountName());
  set(QRBSourceControlAccountURLKey, hostURL().withoutPassword().absoluteString());
  dictionary[QRBSourceControlAccountAuthTypeKey] = strategy->type();
  set(QRBSourceControlAccountUsernameKey, usernameOf(strategy));
  if (const SSHKeys* keys = exactly<SSHKeys>(strategy)) {
    set(QRBSourceControlAccountSSHKeyPath, keys->privateKeyFile().path());
  }
  return dictionary;
}

std::string QRBSourceControlAccount::description() const {
  return qrb::format("Account:%@ Authentication:%@",
                     {hostURL().withoutPassword().absoluteString(), authenticationStrategy()->description()});
}

std::shared_ptr<qrb::Object> QRBSourceControlAccount::copy() const {
  auto account = std::make_shared<QRBSourceControlAccount>(Key());
  account->buildLike(*this);
  return account;
}

std::shared_ptr<qrb::Object> QRBSourceControlAccount::initWithCoder(qrb::KeyedUnarchiver& coder) {
  auto account = std::make_shared<QRBSourceControlAccount>(Key());
  account->decode(coder);
  return account;
}

void QRBSourceControlAccount::decode(qrb::KeyedUnarchiver& coder) {
  qrb::String accountName = coder.decode<qrb::String>("accountName");
  qrb::URL hostURL = coder.decode<qrb::URL>("hostURL");
  StrategyPtr strategy = coder.decode<StrategyPtr>("authenticationStrategy");
  restore(std::move(accountName), std::move(hostURL), std::move(strategy), coder.decode<bool>("enabled"));
}

void QRBSourceControlAccount::encodeWithCoder(qrb::KeyedArchiver& coder) const {
  coder.encode("accountName", accountName());
  coder.encode("hostURL", hostURL());
  coder.encode("authenticationStrategy", authenticationStrategy());
  coder.encode("enabled", enabled());
}
