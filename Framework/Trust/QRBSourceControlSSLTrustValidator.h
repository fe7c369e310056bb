#pragma once

#include <chrono>
#include <string_view>

#include <qrb/Export.h>
#include <qrb/ServerTrust.h>
#include <qrb/SharedString.h>
#include <qrb/URL.h>

/// Finds the certificates of an https server, and says whether to trust the server: by the authorities of this machine,
/// by a fingerprint that it must have, and by one that the user has accepted before.
///
/// Every function that takes an address asks the server: a program beside the library does, through the proxy that the
/// environment names, with no request but for a connection. It blocks the calling thread, for `patience` at most over
/// all of it, and never waits for another thread; each query is its own, so any number of threads may ask at once. Why
/// a server could not be asked goes to the log. Nothing is kept between two queries.
class QRB_EXPORT QRBSourceControlSSLTrustValidator {
 public:
  /// How long a server has, from the beginning to the end of a query.
  static constexpr std::chrono::milliseconds patienceAtFirst{30'000};

  /// Where the server's certificates hold, with what they are; null for an address that is not https, which shows none,
  /// and for a server that shows none in time.
  static qrb::ProtectionSpacePtr protectionSpaceOfServer(const qrb::URL& server,
                                                         std::chrono::milliseconds patience = patienceAtFirst);
  /// The server's certificates and what is wrong with them; null as above.
  static qrb::ServerTrustPtr trustOfServer(const qrb::URL& server,
                                           std::chrono::milliseconds patience = patienceAtFirst);
  /// The fingerprint of the server's own certificate; absent where there is none, as above.
  static qrb::String fingerprintOfServer(const qrb::URL& server, std::chrono::milliseconds patience = patienceAtFirst);

  /// The fingerprint of the first certificate; absent for null and for a trust without certificates. Asks nobody.
  static qrb::String fingerprintOfTrust(const qrb::ServerTrustPtr& trust);
  /// SHA-1 of a certificate in DER, 40 upper-case hexadecimal digits; absent where there are no bytes. Asks nobody.
  static qrb::String fingerprintOfCertificate(std::string_view certificate);

  /// Whether to talk to the server. A fingerprint given as `withFingerprint` has to be the server's, and is no
  /// substitute for trust; `userTrustedFingerprint` overrides what users may decide (an unknown issuer, the time, the
  /// name) and nothing worse. Letters may be small or capital. False where the server shows no certificate in time.
  static bool shouldTrustServer(const qrb::URL& server, const qrb::String& withFingerprint,
                                const qrb::String& userTrustedFingerprint,
                                std::chrono::milliseconds patience = patienceAtFirst);

 private:
  // One validator serves one query.
  explicit QRBSourceControlSSLTrustValidator(std::chrono::milliseconds patience) : _patience(patience) {}

  qrb::ProtectionSpacePtr _protectionSpaceOfServer(const qrb::URL& server) const;
  qrb::ServerTrustPtr _trustOfServer(const qrb::URL& server) const;
  qrb::String _fingerprintOfServer(const qrb::URL& server) const;
  bool _shouldTrustServer(const qrb::URL& server, const qrb::String& withFingerprint,
                          const qrb::String& userTrustedFingerprint) const;

  const std::chrono::milliseconds _patience;
};
