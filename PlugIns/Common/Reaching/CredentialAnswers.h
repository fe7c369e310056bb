#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "AskpassChannel.h"
#include "RemoteAccess.h"

namespace qrb {

/// Answers what tools ask while one request reaches one remote repository, from what the request brought and from
/// nothing else. A secret goes to the server it is meant for only: not to where that sends the tool on, and not to what
/// the repository names besides. Remembers what was asked, which tells later why a tool failed.
class CredentialAnswers {
 public:
  explicit CredentialAnswers(const RemoteAccess& access) : _access(access) {}

  std::optional<std::string> answer(const AskpassQuestion& question);

  /// A secret was handed over; a server that refuses afterwards has refused it.
  bool gaveSecret() const { return _gaveSecret; }
  /// The fingerprint of the key that a server showed last and that was not the trusted one: "SHA256:…"; empty before.
  const std::string& hostFingerprint() const { return _hostFingerprint; }
  /// The other server that wanted a secret; empty where there was none.
  const std::string& foreignServer() const { return _foreignServer; }

 private:
  std::optional<std::string> answerPrompt(std::string_view text);
  std::optional<std::string> answerGit(bool isUsername, std::string_view server);
  std::optional<std::string> answerHostKey(const std::vector<std::string>& values);
  bool isOurLogin(std::string_view userAndHost) const;
  std::optional<std::string> secret();

  const RemoteAccess& _access;
  bool _gaveSecret = false;
  std::string _hostFingerprint;
  std::string _foreignServer;
};

}  // namespace qrb
