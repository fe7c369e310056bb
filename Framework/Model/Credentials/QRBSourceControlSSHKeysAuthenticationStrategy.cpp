#include "QRBSourceControlSSHKeysAuthenticationStrategy.h"

#include <stdlib.h>
#include <unistd.h>

#include "FileSystem.h"
#include "KeyedArchiver.h"
#include "KeyedUnarchiver.h"
#include "Localization.h"
#include "PathString.h"
#include "QRBSourceControlURL.h"
#include "UUIDString.h"

using Strategy = QRBSourceControlSSHKeysAuthenticationStrategy;

QRB_DEFINE_OBJECT(QRBSourceControlSSHKeysAuthenticationStrategy, QRBSourceControlAuthenticationStrategy,
                  "QRBSourceControlSSHKeysAuthenticationStrategy", &Strategy::initWithCoder);

namespace {

// Writes both files, or leaves none; answers the private one.
qrb::URL writeKeyPair(const qrb::String& publicKeyData, const qrb::String& privateKeyData, const qrb::URL& folder) {
  qrb::String parent = folder.path();
  if (!folder.isFileURL() || parent.empty() || !publicKeyData || !privateKeyData) return {};
  std::string directory = qrb::appendingPathComponent(parent.view(), qrb::makeUUIDString());
  if (!qrb::makePrivateDirectory(directory)) return {};
  std::string privateKey = directory + "/id_rsa";
  std::string publicKey = directory + "/id_rsa.pub";
  if (qrb::writePrivateFile(publicKey, publicKeyData.view())) {
    if (qrb::writePrivateFile(privateKey, privateKeyData.view())) return qrb::URL::fileURL(privateKey);
    ::unlink(publicKey.c_str());
  }
  ::rmdir(directory.c_str());
  return {};
}

}  // namespace

std::shared_ptr<Strategy> Strategy::make(qrb::String username, bool fromURL, qrb::URL privateKey,
                                         qrb::String password) {
  auto strategy = std::make_shared<Strategy>(Key());
  strategy->_username = username.valueOr("");
  strategy->_usernameDefinedFromURL = fromURL;
  strategy->_privateKeyFile = std::move(privateKey);
  strategy->_privateKeyPassword = password.valueOr("");
  return strategy;
}

Strategy::Pointer Strategy::init() {
  return make("", false, {}, "");
}

Strategy::Pointer Strategy::initWithUsername(qrb::String username, qrb::URL privateKey, qrb::String password) {
  return make(std::move(username), false, std::move(privateKey), std::move(password));
}

Strategy::Pointer Strategy::initWithURLDefinedUsername(qrb::String username, qrb::URL privateKey,
                                                       qrb::String password) {
  return make(std::move(username), true, std::move(privateKey), std::move(password));
}

Strategy::Pointer Strategy::initWithUsernamePublicKeyData(qrb::String username, qrb::String publicKeyData,
                                                          qrb::String privateKeyData, qrb::String password,
                                                          qrb::URL sshKeyDirectory) {
  qrb::URL privateKey = writeKeyPair(publicKeyData, privateKeyData, sshKeyDirectory);
  return make(std::move(username), false, std::move(privateKey), std::move(password));
}

qrb::URL Strategy::defaultSSHKeyFolder() {
  return qrb::URL::fileURL(qrb::appendingPathComponent(qrb::homeDirectory(), ".ssh"), true);
}

Strategy::Pointer Strategy::defaultSSHKeyAuthenticationStrategyWithUsername(qrb::String username,
                                                                            qrb::String password) {
  qrb::String folder = defaultSSHKeyFolder().path();
  if (!folder) return nullptr;
  for (const char* name : {"id_rsa", "id_ecdsa", "id_dsa"}) {
    std::string path = qrb::appendingPathComponent(folder.view(), name);
    if (::access(path.c_str(), F_OK) == 0) return initWithUsername(username, qrb::URL::fileURL(path), password);
  }
  return nullptr;
}

Strategy::Pointer Strategy::defaultSSHKeyAuthenticationStrategy() {
  return defaultSSHKeyAuthenticationStrategyWithUsername(nullptr);
}

bool Strategy::strategyIsValidForURL(const qrb::URL& url) {
  return qrbscm_isSCPURI(url) || qrbscm_scheme(url).view().find("ssh") != std::string_view::npos;
}

std::string Strategy::description() const {
  return qrb::format("SSH Key Authentication (%@)", {_privateKeyFile.absoluteString()});
}

std::size_t Strategy::hash() const {
  return _privateKeyFile.hash() ^ _username.hash() ^ _privateKeyPassword.hash();
}

std::shared_ptr<qrb::Object> Strategy::copy() const {
  return make(_username, _usernameDefinedFromURL, _privateKeyFile, _privateKeyPassword);
}

bool Strategy::isEqualToSameClass(const qrb::Object& other) const {
  const auto& strategy = static_cast<const Strategy&>(other);
  return _usernameDefinedFromURL == strategy._usernameDefinedFromURL && _privateKeyFile == strategy._privateKeyFile &&
         _username == strategy._username && _privateKeyPassword == strategy._privateKeyPassword;
}

std::shared_ptr<qrb::Object> Strategy::initWithCoder(qrb::KeyedUnarchiver& coder) {
  auto strategy = std::make_shared<Strategy>(Key());
  strategy->_usernameDefinedFromURL = coder.decode<bool>("usernameDefinedFromURL");
  strategy->_username = coder.decode<qrb::String>("username");
  strategy->_privateKeyFile = coder.decode<qrb::URL>("privateKeyFile");
  strategy->_privateKeyPassword = coder.decode<qrb::String>("privateKeyPassword");
  return strategy;
}

void Strategy::encodeWithCoder(qrb::KeyedArchiver& coder) const {
  coder.encode("usernameDefinedFromURL", _usernameDefinedFromURL);
  coder.encode("username", _username);
  coder.encode("privateKeyFile", _privateKeyFile);
  coder.encode("privateKeyPassword", _privateKeyPassword);
}

qrb::String QRBSourceControlSSHGenerateRandomPassphrase() {
  constexpr std::string_view alphabet =
      "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ1234567890!@#$%^&*()-=+_;:'\",.<>/?`~\\| ";
  static_assert(alphabet.size() == 91);
  std::string passphrase(200 + ::arc4random_uniform(600), ' ');
  for (char& character : passphrase) {
    character = alphabet[::arc4random_uniform(static_cast<std::uint32_t>(alphabet.size()))];
  }
  return passphrase;
}
