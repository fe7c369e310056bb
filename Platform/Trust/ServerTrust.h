#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <qrb/Export.h>

namespace qrb {

/// Whether the certificates that a server shows prove that it is the one that was asked for.
enum class TrustVerdict : std::uint8_t {
  /// An authority that this machine trusts vouches for it.
  trusted,
  /// Nobody vouches for it, or no longer, or for another name: whoever knows the certificate may trust it all the same.
  recoverableFailure,
  /// Somebody may be forging it, or what was found is not understood. Nothing makes it trusted.
  fatalFailure
};

/// What is wrong with a server's certificates.
enum class TrustFault : std::uint8_t {
  unknownIssuer,
  expired,
  notYetValid,
  otherName,
  revoked,
  badSignature,
  brokenAlgorithm,
  /// Something else, or something that is not known here.
  notUnderstood
};

/// The certificates that a TLS server showed, and what they prove. A value.
struct QRB_EXPORT ServerTrust {
  /// As the server sent them, in DER: its own first, then those of who vouches for it.
  std::vector<std::string> certificates;
  /// All that is wrong, each once; none where the server is trusted.
  std::vector<TrustFault> faults;
  /// The pin of the key in the server's own certificate, as libcurl takes pins: "sha256//…".
  std::string pin;
  /// Whom the certificate is for, as it says itself, in bytes that may be anything.
  std::string name;
  /// When it is valid, in seconds since 1970.
  std::int64_t validFrom = 0;
  std::int64_t validUntil = 0;

  /// The worst of the faults decides; without certificates it is the fatal failure.
  TrustVerdict verdict() const;
  /// SHA-1 of the server's own certificate, 40 upper-case hexadecimal digits; empty without one. This is what is kept
  /// and compared.
  std::string fingerprint() const;
  /// SHA-256 of it, 64 such digits, to be shown beside the other: people compare it with what they have from elsewhere.
  std::string longFingerprint() const;
  /// Whether a text is its SHA-1 fingerprint; letters may be small and bytes divided by colons.
  bool hasFingerprint(std::string_view text) const;
  /// The trust rule. A fingerprint that is expected has to be the certificate's, and replaces nothing; one that the
  /// user trusts overrides a recoverable failure and no other. A fingerprint that is given but empty is nobody's.
  bool isAcceptable(std::optional<std::string_view> expected, std::optional<std::string_view> userTrusted) const;
  /// What is wrong and what the fingerprints are, in sentences for people.
  std::string description() const;

  /// Reads what `qrb-server-certificate` prints; none for anything else. Pure.
  static std::optional<ServerTrust> parse(std::string_view output);
};

using ServerTrustPtr = std::shared_ptr<const ServerTrust>;

/// The part of a server in which one trust holds.
struct ProtectionSpace {
  /// As the address has it, an IPv6 address without its brackets.
  std::string host;
  int port = 0;
  /// "https".
  std::string protocol;
  /// Never null.
  ServerTrustPtr serverTrust;
};

using ProtectionSpacePtr = std::shared_ptr<const ProtectionSpace>;

}  // namespace qrb
