#include "CredentialAnswers.h"

#include "AskpassProtocol.h"
#include "CredentialPrompt.h"
#include "PercentCoding.h"

namespace qrb {

using Kind = RemoteAccess::Kind;

std::optional<std::string> CredentialAnswers::answer(const AskpassQuestion& question) {
  return question.kind == kAskpassHostKeyKind ? answerHostKey(question.values) : answerPrompt(question.values.front());
}

std::optional<std::string> CredentialAnswers::answerPrompt(std::string_view text) {
  CredentialPrompt prompt = CredentialPrompt::parse(text);
  switch (prompt.kind) {
    case CredentialPrompt::Kind::username:
    case CredentialPrompt::Kind::password:
      return answerGit(prompt.kind == CredentialPrompt::Kind::username, prompt.subject);
    case CredentialPrompt::Kind::passphrase:
      if (_access.kind != Kind::key || (!_access.keyFile.empty() && prompt.subject != _access.keyFile)) break;
      return secret();
    case CredentialPrompt::Kind::sSHPassword:
      if (_access.kind != Kind::password || !isOurLogin(prompt.subject)) break;
      return secret();
    case CredentialPrompt::Kind::unknown:
      break;
  }
  return std::nullopt;
}

std::optional<std::string> CredentialAnswers::answerGit(bool isUsername, std::string_view server) {
  RemoteAddress asking = RemoteAddress::parse(server);
  if (!asking.isHTTP() || !_access.address.mayShareSecretsWith(asking)) {
    // The name may be anything that the user has set up; which server it is matters.
    _foreignServer = asking.scheme + "://" + asking.host;
    return std::nullopt;
  }
  if (_access.kind != Kind::password || _access.user.empty()) return std::nullopt;
  if (isUsername) return _access.user;
  // git shows the name as it is or, in later versions, encoded.
  bool isOurs = asking.user && (*asking.user == _access.user || percentDecoded(*asking.user) == _access.user ||
                                server.find("://" + _access.user + "@") != std::string_view::npos);
  return isOurs ? secret() : std::nullopt;
}

bool CredentialAnswers::isOurLogin(std::string_view userAndHost) const {
  std::size_t at = userAndHost.rfind('@');
  if (at == std::string_view::npos) return false;
  RemoteAddress asking = RemoteAddress::parse(std::string("ssh://").append(userAndHost.substr(at + 1)));
  return userAndHost.substr(0, at) == _access.user && asking.host == _access.address.host;
}

std::optional<std::string> CredentialAnswers::secret() {
  if (_access.secret.empty()) return std::nullopt;
  _gaveSecret = true;
  return std::string(_access.secret.view());
}

std::optional<std::string> CredentialAnswers::answerHostKey(const std::vector<std::string>& values) {
  const auto& [use, host, type, key, fingerprint] =
      std::tie(values.at(0), values.at(1), values.at(2), values.at(3), values.at(4));
  // Before a server has shown its key ssh asks what keys are expected.
  if (use != "HOSTNAME") return std::nullopt;
  if (!_access.trustedFingerprint.empty() && fingerprint == _access.trustedFingerprint) {
    return host + " " + type + " " + key;
  }
  _hostFingerprint = fingerprint;
  return std::nullopt;
}

}  // namespace qrb
