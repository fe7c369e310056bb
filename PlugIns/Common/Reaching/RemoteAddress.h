#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace qrb {

/// The address of a repository taken apart as the tools do it, who are less strict than the generic syntax of URLs:
/// "https://user@host:8443/a b.git", "user@host:path", "/srv/repository". Pure.
struct RemoteAddress {
  /// In small letters; "ssh" for user@host:path, "file" for a path.
  std::string scheme;
  /// Decoded where the address is a URL; absent where there is none.
  std::optional<std::string> user;
  std::optional<std::string> password;
  /// In small letters, an IPv6 address with its brackets; empty where there is none.
  std::string host;
  /// The host in the letters that the address has, which match patterns in the user's configuration of ssh.
  std::string hostAsWritten;
  /// Digits; the scheme's usual port where the address names none, empty where that has none.
  std::string port;
  /// Whether the address itself names the port.
  bool namesPort = false;
  /// As it stands, "/" included; of user@host:path what follows the colon; decoded where it is a file's.
  std::string path;

  static RemoteAddress parse(std::string_view address);

  /// Whether no repository is named, only who serves some.
  bool isServer() const { return !host.empty() && path.find_first_not_of('/') == std::string::npos; }

  bool isHTTP() const { return scheme == "http" || scheme == "https"; }
  bool isLocalFile() const { return scheme == "file" && (host.empty() || host == "localhost"); }
  bool isSSH() const { return scheme == "ssh" || scheme.ends_with("+ssh"); }
  /// Whether what is meant for this server may be told to the other: the same host, port and protocol, or the same host
  /// where only the protection is better.
  bool mayShareSecretsWith(const RemoteAddress& other) const;
  /// Whether both are the same repository, whoever logs in.
  bool isSamePlaceAs(const RemoteAddress& other) const;
};

/// The address, as a tool is told it, without a password, which is a secret; a user's name stays. What a tool takes for
/// the path of user@host:path is none.
std::string addressWithoutPassword(std::string_view address);
/// The URL with another user name and without a password. Only for addresses with "://".
std::string addressWithUser(std::string_view address, std::string_view user);

}  // namespace qrb
