#include "CertificateTrust.h"

#include "Errors.h"
#include "OwnProgram.h"
#include "QRBSourceControlError.h"

namespace qrb {

std::string certificateProgram() {
  return programBesideOwn("qrb-server-certificate");
}

std::optional<ServerTrust> trustOfServer(const RemoteAddress& server, std::optional<HTTPProxy> proxy,
                                         int hostConnection, std::string& reason) {
  ServerTrustQuery query;
  query.program = certificateProgram();
  query.host = server.host;
  query.port = server.port;
  query.proxy = std::move(proxy);
  query.hostConnection = hostConnection;
  return query.ask(reason);
}

bool isAcceptable(const ServerTrust& trust, const RemoteAccess& access) {
  std::optional<std::string_view> trusted;
  if (!access.trustedFingerprint.empty()) trusted = access.trustedFingerprint;
  return trust.isAcceptable(access.isFingerprintEnforced ? trusted : std::nullopt, trusted);
}

Error untrustedCertificateError(const ServerTrust& trust, const std::string& message) {
  std::string text = message.empty() ? trust.description() : message + "\n" + trust.description();
  Error error = QRBSourceControlError_AuthenticationSSLCertificateInvalid(text);
  if (trust.verdict() == TrustVerdict::fatalFailure) return error;
  return errorWithCertificate(error, trust.fingerprint(), trust.longFingerprint());
}

}  // namespace qrb
