#include "AuthenticationRemedy.h"

#include <arpa/inet.h>

#include <algorithm>
#include <iterator>
#include <string_view>

#include "AccountRecord.h"
#include "QRBSourceControlError.h"
#include "QRBSourceControlSSHKeysAuthenticationStrategy.h"
#include "QRBSourceControlSystem.h"
#include "QRBSourceControlURL.h"
#include "UnicodeText.h"

namespace host {

namespace {

using Code = QRBSourceControlErrorCode;
using SSHKeys = QRBSourceControlSSHKeysAuthenticationStrategy;

bool isEncrypted(const std::string& scheme) {
  return scheme == "https" || scheme == "svn+https";
}

// Whether the system has the scheme among its own, and its servers know passwords.
bool takesPasswordsBy(const QRBSourceControlSystemPtr& system, const std::string& scheme) {
  if (system == nullptr) return false;
  if ((system->supportedAuthenticationTypes() & QRBSourceControlAuthenticationTypeBasic) == 0) return false;
  const auto& hints = system->URLHintStrings();
  return std::any_of(hints.begin(), hints.end(), [&](const qrb::String& hint) {
    return !hint.empty() && scheme.find(qrb::lowercased(hint.view())) != std::string::npos;
  });
}

AuthenticationRemedy remedyForCredentials(const qrb::URL& url,
                                          const QRBSourceControlAuthenticationStrategyPtr& strategy,
                                          const QRBSourceControlSystemPtr& system) {
  if (SSHKeys::strategyIsValidForURL(url)) {
    bool hasLockedKey = std::dynamic_pointer_cast<const SSHKeys>(strategy) != nullptr && secretOf(strategy).empty();
    return hasLockedKey ? AuthenticationRemedy::passphrase : AuthenticationRemedy::key;
  }
  std::string scheme = qrb::lowercased(qrbscm_scheme(url).view());
  bool takesPasswords = isEncrypted(scheme) || scheme == "http" || scheme == "svn" || takesPasswordsBy(system, scheme);
  return takesPasswords && !isReadableOnTheWay(url) ? AuthenticationRemedy::password : AuthenticationRemedy::none;
}

AuthenticationRemedy remedyForServer(const qrb::Error& error) {
  // Somebody who stands between us and the server looks exactly like a key that has changed.
  std::string said = error.userInfo(QRBSourceControlUnderlyingErrorString).str();
  if (said.find("IDENTIFICATION HAS CHANGED") != std::string::npos) return AuthenticationRemedy::none;
  return error.userInfo(QRBSourceControlSSHFingerprint).empty() ? AuthenticationRemedy::none
                                                                : AuthenticationRemedy::trust;
}

}  // namespace

AuthenticationRemedy remedyFor(const qrb::Error& error, const qrb::URL& url,
                               const QRBSourceControlAuthenticationStrategyPtr& strategy,
                               const QRBSourceControlSystemPtr& system) {
  if (error.domain().view() != QRBSourceControlErrorDomain) return AuthenticationRemedy::none;
  switch (static_cast<Code>(error.code())) {
    case Code::authenticationStrategyUnsupported:
    case Code::authenticationCredentialsInvalid:
      return remedyForCredentials(url, strategy, system);
    case Code::authenticationSSLCertificateInvalid:
    case Code::authenticationSSHFingerprintInvalid:
      return remedyForServer(error);
    case Code::authenticationSSHKeyInvalid:
    case Code::authenticationSSHKeyNotFound:
    case Code::authenticationSSHKeyPermissionsInvalid:
    case Code::authenticationSSHPublicKeyNotFound:
      return SSHKeys::strategyIsValidForURL(url) ? AuthenticationRemedy::key : AuthenticationRemedy::none;
    default:
      return AuthenticationRemedy::none;
  }
}

bool isReadableOnTheWay(const qrb::URL& url) {
  std::string scheme = qrb::lowercased(qrbscm_scheme(url).view());
  constexpr std::string_view kInTheClear[] = {"http", "svn", "git", "ftp", "svn+http"};
  if (std::find(std::begin(kInTheClear), std::end(kInTheClear), scheme) == std::end(kInTheClear)) return false;
  std::string name = qrb::lowercased(url.host().view());
  in_addr number{};
  bool isLoopback = ::inet_pton(AF_INET, name.c_str(), &number) == 1 && (::ntohl(number.s_addr) >> 24) == 127;
  return !isLoopback && name != "localhost" && name != "::1";
}

std::string adviceFor(const qrb::Error& error) {
  if (error.domain().view() != QRBSourceControlErrorDomain) return {};
  switch (static_cast<Code>(error.code())) {
    case Code::authenticationStrategyUnsupported:
    case Code::authenticationCredentialsInvalid:
      return "Run this on a terminal to be asked, or keep an account with \"qrbscm accounts add\".";
    case Code::authenticationSSLCertificateInvalid:
    case Code::authenticationSSHFingerprintInvalid:
      return "If you know the server's fingerprint, run this on a terminal to compare it, or keep it with \"qrbscm "
             "accounts add --fingerprint\".";
    default:
      return {};
  }
}

}  // namespace host
