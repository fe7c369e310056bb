#include "QRBSourceControlBasicAuthenticationStrategy.h"

#include "KeyedArchiver.h"
#include "KeyedUnarchiver.h"
#include "Localization.h"

QRB_DEFINE_OBJECT(QRBSourceControlBasicAuthenticationStrategy, QRBSourceControlAuthenticationStrategy,
                  "QRBSourceControlBasicAuthenticationStrategy",
                  &QRBSourceControlBasicAuthenticationStrategy::initWithCoder);

std::shared_ptr<QRBSourceControlBasicAuthenticationStrategy> QRBSourceControlBasicAuthenticationStrategy::make(
    qrb::String username, bool fromURL, qrb::String password, bool passwordFromURL) {
  auto strategy = std::make_shared<QRBSourceControlBasicAuthenticationStrategy>(Key());
  strategy->_username = username.valueOr("");
  strategy->_usernameDefinedFromURL = fromURL;
  strategy->_password = password.valueOr("");
  strategy->_passwordDefinedFromURL = passwordFromURL;
  return strategy;
}

QRBSourceControlBasicAuthenticationStrategyPtr QRBSourceControlBasicAuthenticationStrategy::init() {
  return make("", false, "", false);
}

QRBSourceControlBasicAuthenticationStrategyPtr QRBSourceControlBasicAuthenticationStrategy::initWithUsername(
    qrb::String username, qrb::String password) {
  return make(std::move(username), false, std::move(password), false);
}

QRBSourceControlBasicAuthenticationStrategyPtr QRBSourceControlBasicAuthenticationStrategy::initWithURLDefinedUsername(
    qrb::String username, qrb::String password) {
  return make(std::move(username), true, std::move(password), false);
}

QRBSourceControlBasicAuthenticationStrategyPtr
QRBSourceControlBasicAuthenticationStrategy::initWithURLDefinedUsernameURLDefinedPassword(qrb::String username,
                                                                                          qrb::String password) {
  return make(std::move(username), true, std::move(password), true);
}

QRBSourceControlBasicAuthenticationStrategyPtr QRBSourceControlBasicAuthenticationStrategy::strategyWithUsername(
    qrb::String username, qrb::String password) const {
  return make(std::move(username), _usernameDefinedFromURL, std::move(password), _passwordDefinedFromURL);
}

std::string QRBSourceControlBasicAuthenticationStrategy::description() const {
  return qrb::format("Basic Authentication (%@)", {_username});
}

std::shared_ptr<qrb::Object> QRBSourceControlBasicAuthenticationStrategy::copy() const {
  return make(_username, _usernameDefinedFromURL, _password, _passwordDefinedFromURL);
}

bool QRBSourceControlBasicAuthenticationStrategy::isEqualToSameClass(const qrb::Object& other) const {
  const auto& strategy = static_cast<const QRBSourceControlBasicAuthenticationStrategy&>(other);
  return _usernameDefinedFromURL == strategy._usernameDefinedFromURL &&
         _passwordDefinedFromURL == strategy._passwordDefinedFromURL && _username == strategy._username &&
         _password == strategy._password;
}

std::shared_ptr<qrb::Object> QRBSourceControlBasicAuthenticationStrategy::initWithCoder(qrb::KeyedUnarchiver& coder) {
  auto strategy = std::make_shared<QRBSourceControlBasicAuthenticationStrategy>(Key());
  strategy->_usernameDefinedFromURL = coder.decode<bool>("usernameDefinedFromURL");
  strategy->_username = coder.decode<qrb::String>("username");
  strategy->_passwordDefinedFromURL = coder.decode<bool>("passwordDefinedFromURL");
  strategy->_password = coder.decode<qrb::String>("password");
  return strategy;
}

void QRBSourceControlBasicAuthenticationStrategy::encodeWithCoder(qrb::KeyedArchiver& coder) const {
  coder.encode("usernameDefinedFromURL", _usernameDefinedFromURL);
  coder.encode("username", _username);
  coder.encode("passwordDefinedFromURL", _passwordDefinedFromURL);
  coder.encode("password", _password);
}
