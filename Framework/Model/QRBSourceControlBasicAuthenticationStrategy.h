#pragma once

#include "QRBSourceControlAuthenticationStrategy.h"

/// User name and password, and whether each was taken from the repository's URL (and so is not stored by itself).
///
/// Immutable; shared freely between threads. An absent user name or password is kept as an empty one.
class QRB_EXPORT QRBSourceControlBasicAuthenticationStrategy final : public QRBSourceControlAuthenticationStrategy {
  QRB_OBJECT;

 public:
  /// Without user name and password.
  static QRBSourceControlBasicAuthenticationStrategyPtr init();
  static QRBSourceControlBasicAuthenticationStrategyPtr initWithUsername(qrb::String username, qrb::String password);
  /// With the user name, here, or both, below, marked as what an address carried.
  static QRBSourceControlBasicAuthenticationStrategyPtr initWithURLDefinedUsername(qrb::String username,
                                                                                   qrb::String password);
  static QRBSourceControlBasicAuthenticationStrategyPtr initWithURLDefinedUsernameURLDefinedPassword(
      qrb::String username, qrb::String password);
  using QRBSourceControlAuthenticationStrategy::QRBSourceControlAuthenticationStrategy;

  static qrb::String name() { return "Username and Password"; }
  QRBSourceControlAuthenticationTypes type() const noexcept override { return QRBSourceControlAuthenticationTypeBasic; }

  const qrb::String& username() const noexcept { return _username; }
  const qrb::String& password() const noexcept { return _password; }
  bool usernameDefinedFromURL() const noexcept { return _usernameDefinedFromURL; }
  bool passwordDefinedFromURL() const noexcept { return _passwordDefinedFromURL; }

  std::string description() const override;
  std::size_t hash() const override { return _username.hash() ^ _password.hash(); }
  std::shared_ptr<qrb::Object> copy() const override;

  static std::shared_ptr<qrb::Object> initWithCoder(qrb::KeyedUnarchiver& coder);
  void encodeWithCoder(qrb::KeyedArchiver& coder) const override;

 protected:
  bool isEqualToSameClass(const qrb::Object& other) const override;

 private:
  static std::shared_ptr<QRBSourceControlBasicAuthenticationStrategy> make(qrb::String username, bool fromURL,
                                                                           qrb::String password, bool passwordFromURL);

  qrb::String _username;
  qrb::String _password;
  bool _usernameDefinedFromURL = false;
  bool _passwordDefinedFromURL = false;
};
