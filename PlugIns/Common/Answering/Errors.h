#pragma once

#include <string>

#include "Error.h"

namespace qrb {

/// An error of a known code with texts of its own: the codes are few, and what a user reads must be true. The texts are
/// localised here; `name` stands where the description has "%@".
Error rewordedError(const Error& like, const char* description, const char* suggestion, const String& name,
                    const String& message);
/// The same error, with what the tool said.
Error errorWithMessage(const Error& error, const String& message);
/// The same error, with the fingerprint that a user is to compare.
Error errorWithFingerprint(const Error& error, const std::string& fingerprint);
/// The same for a certificate, with its longer fingerprint beside that one.
Error errorWithCertificate(const Error& error, const std::string& fingerprint, const std::string& longFingerprint);

}  // namespace qrb
