#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "RemoteAddress.h"
#include "ToolRunner.h"

namespace qrb {

/// The certificate that a TLS server presents, whoever may have signed it.
struct ServerCertificate {
  /// SHA-1 of the certificate, 40 upper-case hexadecimal digits.
  std::string fingerprint;
  /// The pin of the key in it, as libcurl takes pins: "sha256//…".
  std::string pin;
  /// Whom it is for, as it says itself.
  std::string name;

  /// Whether a fingerprint is this certificate's; letters may be small and bytes divided by colons.
  bool hasFingerprint(std::string_view text) const;

  /// Reads what the helper program prints; none for anything else. Pure.
  static std::optional<ServerCertificate> parse(std::string_view output);
  /// Asks the server for it. None where there is none to be had, with the reason.
  static std::optional<ServerCertificate> of(const RemoteAddress& server, const ToolRunner& runner,
                                             std::string& reason);
};

}  // namespace qrb
