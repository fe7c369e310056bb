#pragma once

#include <string>
#include <string_view>

namespace qrb {

/// What a tool wants when it asks, read from the text that it would show. Pure: no text is trusted to be a tool's.
struct CredentialPrompt {
  enum class Kind {
    /// Nothing that is answered here: one-time codes, PINs, whether to go on.
    unknown,
    /// git: "Username for 'https://host': ".
    username,
    /// git: "Password for 'https://user@host': ".
    password,
    /// ssh: "Enter passphrase for key '/home/user/.ssh/id_rsa': ".
    passphrase,
    /// ssh: "user@host's password: ", "(user@host) Password: ".
    sSHPassword,
  };
  Kind kind = Kind::unknown;
  /// What is between the quotation marks: the address with a user's name or without, the key's path, user@host.
  std::string subject;

  static CredentialPrompt parse(std::string_view text);
};

}  // namespace qrb
