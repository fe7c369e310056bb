#include "AccountRecord.h"

#include <optional>

#include "HostError.h"
#include "QRBSourceControlAccount.h"
#include "QRBSourceControlBasicAuthenticationStrategy.h"
#include "QRBSourceControlSSHKeysAuthenticationStrategy.h"
#include "QRBSourceControlURL.h"

namespace host {

namespace {

using Record = AccountFile::Record;
using Basic = QRBSourceControlBasicAuthenticationStrategy;
using SSHKeys = QRBSourceControlSSHKeysAuthenticationStrategy;
using StrategyPtr = QRBSourceControlAuthenticationStrategyPtr;

qrb::String textIn(const Record& record, const char* key) {
  auto found = record.find(key);
  return found != record.end() && found->is_string() ? qrb::String(found->get_ref<const std::string&>())
                                                     : qrb::String();
}

std::uint64_t kindIn(const Record& record) {
  auto found = record.find(QRBSourceControlAccountAuthTypeKey);
  return found != record.end() && found->is_number_unsigned() ? found->get<std::uint64_t>() : 0;
}

StrategyPtr strategyFromRecord(const Record& record) {
  qrb::String username = textIn(record, QRBSourceControlAccountUsernameKey);
  switch (kindIn(record)) {
    case QRBSourceControlAuthenticationTypeAnonymous:
      return QRBSourceControlAuthenticationStrategy::sharedAnonymousStrategy();
    case QRBSourceControlAuthenticationTypeBasic:
      return Basic::initWithUsername(username, nullptr);
    case QRBSourceControlAuthenticationTypeSSHKeys:
      return SSHKeys::initWithUsername(
          username, qrb::URL::fileURL(textIn(record, QRBSourceControlAccountSSHKeyPath).view()), nullptr);
    default:
      return nullptr;
  }
}

std::string pathOf(const qrb::URL& url) {
  std::string path = qrbscm_path(url).str();
  while (path.ends_with('/')) path.pop_back();
  if (path.ends_with(".git")) path.resize(path.size() - 4);
  return path.starts_with('/') ? path : "/" + path;
}

// What must be the same: an address in scp form is one over SSH. Nothing of an address that tools could understand
// otherwise: the account's secret would go to another server.
std::optional<std::tuple<std::string, std::string, std::optional<int>>> serverOf(const qrb::URL& url) {
  if (qrbscm_isSCPURI(url)) {
    if (url.absoluteString().view().find('|') != std::string_view::npos) return std::nullopt;
    return std::tuple("ssh", qrbscm_host(url).str(), std::nullopt);
  }
  // Without the path, which may have characters that ought to have been encoded.
  std::string_view text = url.absoluteString().view();
  qrb::URL server(text.substr(0, text.find_first_of("/?#", text.find("://") + 3)));
  std::string host = server.host().str();
  if (host.empty()) return std::nullopt;
  return std::tuple(server.scheme().str(), host, server.port());
}

}  // namespace

AccountIdentity identityOf(const QRBSourceControlAccountPtr& account) {
  StrategyPtr strategy = account->authenticationStrategy();
  return {account->hostURL().withoutPassword().absoluteString().str(), usernameOf(strategy), strategy->type()};
}

AccountIdentity identityOf(const Record& record) {
  return {textIn(record, QRBSourceControlAccountURLKey).str(), textIn(record, QRBSourceControlAccountUsernameKey).str(),
          kindIn(record)};
}

QRBSourceControlAccountPtr accountFromRecord(const Record& record) {
  qrb::String url = textIn(record, QRBSourceControlAccountURLKey);
  StrategyPtr strategy = strategyFromRecord(record);
  if (url.empty() || strategy == nullptr) return nullptr;
  auto account = QRBSourceControlAccount::initWithName(textIn(record, QRBSourceControlAccountNameKey), qrb::URL(url),
                                                       std::move(strategy));
  auto enabled = record.find(kEnabledKey);
  account->setEnabled(enabled == record.end() || !enabled->is_boolean() || enabled->get<bool>());
  return account;
}

void writeAccount(const QRBSourceControlAccountPtr& account, Record& record) {
  for (const char* key :
       {QRBSourceControlAccountNameKey, QRBSourceControlAccountURLKey, QRBSourceControlAccountUsernameKey,
        QRBSourceControlAccountSSHKeyPath, QRBSourceControlAccountAuthTypeKey, kEnabledKey}) {
    record.erase(key);
  }
  // The kind is a number, and all else is text.
  for (const auto& [key, value] : account->dictionaryRepresentation().entries()) {
    record[key] = value.isInteger() ? Record(value.unsignedInteger()) : Record(value.string());
  }
  if (!account->enabled()) record[kEnabledKey] = false;
}

std::string usernameOf(const StrategyPtr& strategy) {
  if (auto basic = std::dynamic_pointer_cast<const Basic>(strategy)) return basic->username().str();
  if (auto keys = std::dynamic_pointer_cast<const SSHKeys>(strategy)) return keys->username().str();
  return {};
}

std::string secretOf(const StrategyPtr& strategy) {
  if (auto basic = std::dynamic_pointer_cast<const Basic>(strategy)) return basic->password().str();
  if (auto keys = std::dynamic_pointer_cast<const SSHKeys>(strategy)) return keys->privateKeyPassword().str();
  return {};
}

StrategyPtr withSecret(const StrategyPtr& strategy, const std::string& secret) {
  if (auto basic = std::dynamic_pointer_cast<const Basic>(strategy)) {
    return basic->usernameDefinedFromURL() ? Basic::initWithURLDefinedUsername(basic->username(), secret)
                                           : Basic::initWithUsername(basic->username(), secret);
  }
  if (auto keys = std::dynamic_pointer_cast<const SSHKeys>(strategy)) {
    return keys->usernameDefinedFromURL()
               ? SSHKeys::initWithURLDefinedUsername(keys->username(), keys->privateKeyFile(), secret)
               : SSHKeys::initWithUsername(keys->username(), keys->privateKeyFile(), secret);
  }
  return strategy;
}

SecretKey secretKeyOf(const QRBSourceControlAccountPtr& account, const std::string& username) {
  auto keys = std::dynamic_pointer_cast<const SSHKeys>(account->authenticationStrategy());
  if (keys != nullptr) return {keys->privateKeyFile().absoluteString().str(), username};
  return {qrbscm_anonymousURL(account->hostURL().withoutPassword()).absoluteString().str(), username};
}

qrb::Error refusePassword(const qrb::URL& url, const std::string& advice) {
  if (url.withoutPassword() == url) return {};
  return hostError("The address holds a password, which everyone on this machine may have seen by now.", advice);
}

bool serves(const qrb::URL& accountAddress, const qrb::URL& repositoryAddress) {
  qrb::URL accountURL = accountAddress.withoutPassword();
  qrb::URL repositoryURL = repositoryAddress.withoutPassword();
  auto server = serverOf(repositoryURL);
  if (!server || serverOf(accountURL) != server) return false;
  qrb::String accountUser = qrbscm_user(accountURL);
  qrb::String repositoryUser = qrbscm_user(repositoryURL);
  if (!accountUser.empty() && !repositoryUser.empty() && accountUser != repositoryUser) return false;
  std::string above = pathOf(accountURL);
  std::string path = pathOf(repositoryURL);
  return above == "/" || path == above || path.starts_with(above + "/");
}

}  // namespace host
