#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

/// A public key as files hold it: "ssh-rsa AAAA… comment". Pure functions; any thread.
struct SSHPublicKey {
  std::string type;
  /// The key itself, decoded.
  std::string blob;

  /// Reads the type and the key at the beginning of a text; what follows is the comment. Absent where they are
  /// malformed or do not name the same type.
  static std::optional<SSHPublicKey> parse(std::string_view text);
  /// "SHA256:" and the digest, as ssh shows it.
  std::string fingerprint() const;

  bool operator==(const SSHPublicKey&) const = default;
};

/// The words of a line, which blanks and tabs separate.
std::vector<std::string_view> splitWords(std::string_view line);
