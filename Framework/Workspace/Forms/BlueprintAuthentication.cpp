
#include "BlueprintFormsPrivate.h"
#include "FileSystem.h"
#include "QRBSourceControlBasicAuthenticationStrategy.h"
#include "QRBSourceControlSSHKeysAuthenticationStrategy.h"
#include "UTF8.h"

using Blueprint = QRBSourceControlWorkspaceBlueprint;
using Anonymous = QRBSourceControlAuthenticationStrategy;
using Basic = QRBSourceControlBasicAuthenticationStrategy;
using SSHKeys = QRBSourceControlSSHKeysAuthenticationStrategy;

namespace qrb::detail {

namespace {

constexpr const char* kTypeKey = QRBSourceControlWorkspaceBlueprintRemoteRepositoryAuthenticationTypeKey;
constexpr const char* kUsernameKey = QRBSourceControlWorkspaceBlueprintRemoteRepositoryUsernameKey;
constexpr const char* kPasswordKey = QRBSourceControlWorkspaceBlueprintRemoteRepositoryPasswordKey;
constexpr const char* kPublicKeyKey = QRBSourceControlWorkspaceBlueprintRemoteRepositoryPublicKeyDataKey;
constexpr const char* kPrivateKeyKey = QRBSourceControlWorkspaceBlueprintRemoteRepositoryPrivateKeyDataKey;
constexpr const char* kEarlyPrivateKeyKey =
    QRBSourceControlWorkspaceBlueprintRemoteRepositoryAuthenticationStrategiesKey;

// No key is as long as this.
constexpr std::size_t kLargestKeyFile = std::size_t{1} << 20;

String textOfKeyFile(const URL& file) {
  String path = file.path();
  if (path.empty()) return {};
  auto bytes = readFile(path.str(), kLargestKeyFile);
  return bytes ? Blueprint::_stringFromData(*bytes) : String();
}

void writeCredentials(const Basic& strategy, Dictionary& entry) {
  setText(entry, kUsernameKey, strategy.username());
  setText(entry, kPasswordKey, strategy.password());
}

void writeCredentials(const SSHKeys& strategy, bool inEarlyPlace, Dictionary& entry) {
  setText(entry, kUsernameKey, strategy.username());
  setText(entry, kPasswordKey, strategy.privateKeyPassword());
  setText(entry, kPublicKeyKey, textOfKeyFile(strategy.publicKeyFile()));
  setText(entry, inEarlyPlace ? kEarlyPrivateKeyKey : kPrivateKeyKey, textOfKeyFile(strategy.privateKeyFile()));
}

}  // namespace

QRBSourceControlAuthenticationStrategyPtr readStrategy(const Dictionary& entry, const URL& repositoryURL,
                                                       const URL& sshKeyDirectory) {
  String type = textForKey(entry, kTypeKey);
  String username = textForKey(entry, kUsernameKey);
  String password = textForKey(entry, kPasswordKey);
  if (type.view() == Basic::staticClass().name()) return Basic::initWithUsername(username, password);
  // An account takes no keys for an address that they cannot serve, so none are written for it either.
  if (type.view() == SSHKeys::staticClass().name() && SSHKeys::strategyIsValidForURL(repositoryURL)) {
    String privateKey = textForKey(entry, kPrivateKeyKey);
    if (privateKey.empty()) privateKey = textForKey(entry, kEarlyPrivateKeyKey);
    return SSHKeys::initWithUsernamePublicKeyData(username, textForKey(entry, kPublicKeyKey), privateKey, password,
                                                  sshKeyDirectory);
  }
  return Anonymous::sharedAnonymousStrategy();
}

Dictionary writeStrategy(const QRBSourceControlAuthenticationStrategyPtr& strategy, std::uint64_t options) {
  Dictionary entry = Dictionary::object();
  entry[kTypeKey] = std::string(strategy == nullptr ? Anonymous::staticClass().name() : strategy->className());
  if ((options & QRBSourceControlWorkspaceBlueprintCredentials) == 0 || strategy == nullptr) return entry;
  if (strategy->classInfo().isKindOf(Basic::staticClass())) {
    writeCredentials(static_cast<const Basic&>(*strategy), entry);
  } else if (strategy->classInfo().isKindOf(SSHKeys::staticClass())) {
    bool inEarlyPlace = (options & QRBSourceControlWorkspaceBlueprintTrustOnly) != 0;
    writeCredentials(static_cast<const SSHKeys&>(*strategy), inEarlyPlace, entry);
  }
  return entry;
}

}  // namespace qrb::detail

qrb::String Blueprint::_stringFromData(std::string_view data) {
  return qrb::isValidUTF8(data) ? qrb::String(data) : qrb::String();
}

std::optional<std::string> Blueprint::_dataFromString(const qrb::String& string) {
  return string.optional();
}
