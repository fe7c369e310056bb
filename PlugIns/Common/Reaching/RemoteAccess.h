#pragma once

#include <string>
#include <string_view>

#include "Error.h"
#include "QRBSourceControlForward.h"
#include "RemoteAddress.h"
#include "Secrecy.h"

namespace qrb {

/// What a request brings to reach a remote repository with: the address, who logs in and how, and which server is
/// trusted.
struct RemoteAccess {
  enum class Kind {
    /// Nothing, or a name alone: the tools find by themselves what the user has set up (an agent, default keys,
    /// credential helpers).
    none,
    /// User name and password.
    password,
    /// A key file with its passphrase, or the user's own keys with one.
    key,
  };

  /// Without a password, as it may be handed to a tool.
  std::string text;
  RemoteAddress address;
  Kind kind = Kind::none;
  /// Empty where the tool is to decide.
  std::string user;
  /// The password or the passphrase.
  SecretText secret;
  /// Absolute path; empty for the user's own keys.
  std::string keyFile;
  /// The fingerprint of the server's key or certificate; empty where no server is trusted in particular.
  std::string trustedFingerprint;
  /// The fingerprint is the only one to let through; otherwise it is one more.
  bool isFingerprintEnforced = true;

  /// A strategy that cannot serve the address gives nothing but the name; a name and password in the address count
  /// where there is no other.
  static RemoteAccess of(const QRBSourceControlRemoteRepository& repository);

  /// Whether anything that the user keeps secret could be told to a server.
  bool hasSecret() const { return kind != Kind::none && !secret.empty(); }
  /// No error, or why the key file, the name or the secret cannot be used at all, before any server is asked.
  Error fault() const;
};

}  // namespace qrb
