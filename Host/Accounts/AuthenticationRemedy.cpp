#include "AuthenticationRemedy.h"

#include <arpa/inet.h>

#include "AccountRecord.h"
#include "QRBSourceControlError.h"
#include "QRBSourceControlSSHKeysAuthenticationStrategy.h"
#include "QRBSourceControlURL.h"
#include "UnicodeText.h"

namespace host {

namespace {

using Code = QRBSourceControlErrorCode;
using SSHKeys = QRBSourceControlSSHKeysAuthenticationStrategy;

bool isEncrypted(const std::string& scheme) {
  return scheme == "https" || scheme == "svn+https";
}

AuthenticationRemedy remedyForCredentials(const qrb::URL& url,
                                          const QRBSourceControlAuthenticationStrategyPtr& strategy) {
  if (SSHKeys::strategyIsValidForURL(url)) {
    bool hasLockedKey = std::dynamic_pointer_cast<const SSHKeys>(strategy) != nullptr && secretOf(strategy).empty();
    return hasLockedKey ? AuthenticationRemedy::passphrase : AuthenticationRemedy::key;
  }
  std::string scheme = qrb::lowercased(qrbscm_scheme(url).view());
  bool takesPasswords = isEncrypted(scheme) || scheme == "http" || scheme == "svn";
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
                               const QRBSourceControlAuthenticationStrategyPtr& strategy) {
  if (error.domain().view() != QRBSourceControlErrorDomain) return AuthenticationRemedy::none;
  switch (static_cast<Code>(error.code())) {
    case Code::authenticationStrategyUnsupported:
    case Code::authenticationCredentialsInvalid:
      return remedyForCredentials(url, strategy);
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
  if (scheme.empty() || isEncrypted(scheme) || scheme.find("ssh") != std::string::npos || scheme == "file")
    return false;
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
