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
  /// As the user gave them; an absent text is kept as an empty one, here and below.
  static QRBSourceControlBasicAuthenticationStrategyPtr initWithUsername(qrb::String username, qrb::String password);
  /// With the user name, here, or both, below, marked as what an address carried.
  static QRBSourceControlBasicAuthenticationStrategyPtr initWithURLDefinedUsername(qrb::String username,
                                                                                   qrb::String password);
  static QRBSourceControlBasicAuthenticationStrategyPtr initWithURLDefinedUsernameURLDefinedPassword(
      qrb::String username, qrb::String password);
  /// Another user name and password that came from the same places as these.
  QRBSourceControlBasicAuthenticationStrategyPtr strategyWithUsername(qrb::String username, qrb::String password) const;
  using QRBSourceControlAuthenticationStrategy::QRBSourceControlAuthenticationStrategy;

  /// What the kind is called; English.
  static qrb::String name() { return "Username and Password"; }
  QRBSourceControlAuthenticationTypes type() const noexcept override { return QRBSourceControlAuthenticationTypeBasic; }

  /// Never absent in what the initialisers make; empty where none was given.
  const qrb::String& username() const noexcept { return _username; }
  const qrb::String& password() const noexcept { return _password; }
  /// Whether an address carried it, so that the user cannot change it apart from the address.
  bool usernameDefinedFromURL() const noexcept { return _usernameDefinedFromURL; }
  bool passwordDefinedFromURL() const noexcept { return _passwordDefinedFromURL; }

  /// With the user name, without the password.
  std::string description() const override;
  std::size_t hash() const override { return _username.hash() ^ _password.hash(); }
  std::shared_ptr<qrb::Object> copy() const override;

  /// For archives. A key that is missing leaves its field absent, false or 0; a value of another type throws
  /// ArchiveError. The password is in the archive as it is.
  static std::shared_ptr<qrb::Object> initWithCoder(qrb::KeyedUnarchiver& coder);
  void encodeWithCoder(qrb::KeyedArchiver& coder) const override;

 protected:
  /// Both texts and where they came from.
  bool isEqualToSameClass(const qrb::Object& other) const override;

 private:
  static std::shared_ptr<QRBSourceControlBasicAuthenticationStrategy> make(qrb::String username, bool fromURL,
                                                                           qrb::String password, bool passwordFromURL);

  qrb::String _username;
  qrb::String _password;
  bool _usernameDefinedFromURL = false;
  bool _passwordDefinedFromURL = false;
};
