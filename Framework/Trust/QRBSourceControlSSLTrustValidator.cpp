#include "QRBSourceControlSSLTrustValidator.h"

#include "AsciiCase.h"
#include "Digest.h"
#include "Log.h"
#include "QRBSourceControlURL.h"
#include "ServerTrustQuery.h"
#include "ServiceDirectories.h"

using Validator = QRBSourceControlSSLTrustValidator;

namespace {

constexpr int kUsualPort = 443;

bool isHTTPS(const qrb::URL& server) {
  return qrb::asciiLowerCase(qrbscm_scheme(server).valueOr("").view()) == "https";
}

std::optional<std::string_view> given(const qrb::String& fingerprint) {
  return fingerprint ? std::optional(fingerprint.view()) : std::nullopt;
}

}  // namespace

qrb::ProtectionSpacePtr Validator::protectionSpaceOfServer(const qrb::URL& server, std::chrono::milliseconds patience) {
  return Validator(patience)._protectionSpaceOfServer(server);
}

qrb::ServerTrustPtr Validator::trustOfServer(const qrb::URL& server, std::chrono::milliseconds patience) {
  return Validator(patience)._trustOfServer(server);
}

qrb::String Validator::fingerprintOfServer(const qrb::URL& server, std::chrono::milliseconds patience) {
  return Validator(patience)._fingerprintOfServer(server);
}

qrb::String Validator::fingerprintOfTrust(const qrb::ServerTrustPtr& trust) {
  return trust && !trust->certificates.empty() ? fingerprintOfCertificate(trust->certificates.front()) : qrb::String();
}

qrb::String Validator::fingerprintOfCertificate(std::string_view certificate) {
  return certificate.empty() ? qrb::String() : qrb::String(qrb::sha1Hex(certificate));
}

bool Validator::shouldTrustServer(const qrb::URL& server, const qrb::String& withFingerprint,
                                  const qrb::String& userTrustedFingerprint, std::chrono::milliseconds patience) {
  return Validator(patience)._shouldTrustServer(server, withFingerprint, userTrustedFingerprint);
}

qrb::ProtectionSpacePtr Validator::_protectionSpaceOfServer(const qrb::URL& server) const {
  // Without protection there is nothing to show, and what such a server sends on to is not the server that was meant.
  if (!isHTTPS(server) || server.host().valueOr("").empty()) return nullptr;
  qrb::ServerTrustQuery query;
  query.program = qrb::ServiceDirectories::ownProgram("qrb-server-certificate");
  query.host = server.host().str();
  int port = server.port().value_or(kUsualPort);
  query.port = std::to_string(port);
  query.patience = _patience;
  std::string reason;
  std::optional<qrb::ServerTrust> trust;
  if (qrb::HTTPProxy::parse(qrb::proxyForServer(query.host, std::nullopt), query.proxy, reason)) {
    trust = query.ask(reason);
  }
  if (!trust) {
    qrb::log("trust", reason);
    return nullptr;
  }
  return std::make_shared<const qrb::ProtectionSpace>(
      qrb::ProtectionSpace{query.host, port, "https", std::make_shared<const qrb::ServerTrust>(*std::move(trust))});
}

qrb::ServerTrustPtr Validator::_trustOfServer(const qrb::URL& server) const {
  qrb::ProtectionSpacePtr space = _protectionSpaceOfServer(server);
  return space ? space->serverTrust : nullptr;
}

qrb::String Validator::_fingerprintOfServer(const qrb::URL& server) const {
  return fingerprintOfTrust(_trustOfServer(server));
}

bool Validator::_shouldTrustServer(const qrb::URL& server, const qrb::String& withFingerprint,
                                   const qrb::String& userTrustedFingerprint) const {
  qrb::ServerTrustPtr trust = _trustOfServer(server);
  return trust && trust->isAcceptable(given(withFingerprint), given(userTrustedFingerprint));
}
