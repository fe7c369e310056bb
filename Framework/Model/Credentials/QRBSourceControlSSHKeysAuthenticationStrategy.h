#pragma once

#include "QRBSourceControlAuthenticationStrategy.h"
#include "QRBSourceControlCallbacks.h"

/// A pair of SSH key files, the user name to log in with, and the passphrase of the private key.
///
/// Immutable; shared freely between threads. An absent user name or passphrase is kept as an empty one. The requests go
/// to the SSH helper service; each returns its handle, and its completion comes once, on the service's reply thread.
class QRB_EXPORT QRBSourceControlSSHKeysAuthenticationStrategy final : public QRBSourceControlAuthenticationStrategy {
  QRB_OBJECT;

 public:
  using Pointer = QRBSourceControlSSHKeysAuthenticationStrategyPtr;

  /// Without user name, key file and passphrase.
  static Pointer init();
  /// The key file is a file URL; it is neither read nor looked for.
  static Pointer initWithUsername(qrb::String username, qrb::URL privateKey, qrb::String password);
  /// For a user name that an address carried.
  static Pointer initWithURLDefinedUsername(qrb::String username, qrb::URL privateKey, qrb::String password);
  /// Writes the key pair as id_rsa and id_rsa.pub, for the user's eyes only, into a new directory inside
  /// `sshKeyDirectory`. When that fails no key file is left, and the strategy has none.
  static Pointer initWithUsernamePublicKeyData(qrb::String username, qrb::String publicKeyData,
                                               qrb::String privateKeyData, qrb::String password,
                                               qrb::URL sshKeyDirectory);
  using QRBSourceControlAuthenticationStrategy::QRBSourceControlAuthenticationStrategy;

  /// The user's own folder of keys, ".ssh" in the home directory.
  static qrb::URL defaultSSHKeyFolder();
  /// With the first of id_rsa, id_ecdsa and id_dsa that is in the default folder; null without any.
  static Pointer defaultSSHKeyAuthenticationStrategyWithUsername(qrb::String username, qrb::String password = nullptr);
  /// Without user name and passphrase.
  static Pointer defaultSSHKeyAuthenticationStrategy();

  /// The key that ssh would offer first to the server of that address.
  static QRBSourceControlCancellablePtr defaultSSHKeyAuthenticationStrategyForURL(
      const qrb::URL& url, QRBSourceControlCompletionBlock<Pointer> completionBlock);
  /// Whether the file holds a private key that can be used; the error says why not.
  static QRBSourceControlCancellablePtr validateSSHKeysWithPrivateKeyURL(
      const qrb::URL& privateKeyURL, QRBSourceControlCompletionBlock<> completionBlock);
  /// A new pair in the folder, which is made when it is missing, under that passphrase; a key that is there already is
  /// an error.
  static QRBSourceControlCancellablePtr generateNewKeysWithPassword(
      const qrb::String& password, const qrb::URL& inFolder, QRBSourceControlCompletionBlock<Pointer> completionBlock);
  /// Under a fresh random passphrase, which the strategy holds.
  static QRBSourceControlCancellablePtr generateNewKeysInFolder(
      const qrb::URL& folder, const qrb::String& comment, QRBSourceControlCompletionBlock<Pointer> completionBlock);
  static QRBSourceControlCancellablePtr generateNewKeysInFolder(
      const qrb::URL& folder, QRBSourceControlCompletionBlock<Pointer> completionBlock);

  /// What the kind is called; English.
  static qrb::String name() { return "SSH Keys"; }
  QRBSourceControlAuthenticationTypes type() const noexcept override {
    return QRBSourceControlAuthenticationTypeSSHKeys;
  }
  /// Whether the address is scp-style or has a scheme that runs over SSH.
  static bool strategyIsValidForURL(const qrb::URL& url);
  bool isValidForURL(const qrb::URL& url) const override { return strategyIsValidForURL(url); }

  /// Never absent in what the initialisers make; empty where none was given.
  const qrb::String& username() const noexcept { return _username; }
  /// Whether an address carried the user name.
  bool usernameDefinedFromURL() const noexcept { return _usernameDefinedFromURL; }
  /// Absent when there is none.
  const qrb::URL& privateKeyFile() const noexcept { return _privateKeyFile; }
  /// The passphrase of the private key.
  const qrb::String& privateKeyPassword() const noexcept { return _privateKeyPassword; }
  /// The private key's URL with ".pub" added; absent without a key file. Whether there is such a file is not looked at.
  qrb::URL publicKeyFile() const { return _privateKeyFile.appendingPathExtension("pub"); }
  /// The folder that holds the private key, ending in "/"; absent without a key file.
  qrb::URL keyDirectory() const { return _privateKeyFile.deletingLastPathComponent(); }

  /// With the key file, without user name and passphrase.
  std::string description() const override;
  std::size_t hash() const override;
  std::shared_ptr<qrb::Object> copy() const override;

  /// For archives. A key that is missing leaves its field absent, false or 0; a value of another type throws
  /// ArchiveError. The passphrase is in the archive as it is; the key's content is not.
  static std::shared_ptr<qrb::Object> initWithCoder(qrb::KeyedUnarchiver& coder);
  void encodeWithCoder(qrb::KeyedArchiver& coder) const override;

 protected:
  /// Equal user names from the same kind of place, equal key files and passphrases.
  bool isEqualToSameClass(const qrb::Object& other) const override;

 private:
  static std::shared_ptr<QRBSourceControlSSHKeysAuthenticationStrategy> make(qrb::String username, bool fromURL,
                                                                             qrb::URL privateKey, qrb::String password);

  qrb::String _username;
  qrb::URL _privateKeyFile;
  qrb::String _privateKeyPassword;
  bool _usernameDefinedFromURL = false;
};

/// A fresh passphrase of 200 to 799 printable ASCII characters from the system's cryptographic random source.
QRB_EXPORT qrb::String QRBSourceControlSSHGenerateRandomPassphrase();
