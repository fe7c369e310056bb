#include "Errors.h"

#include "Localization.h"
#include "QRBSourceControlError.h"
#include "UTF8.h"

namespace qrb {
namespace {

Error withInfo(const Error& error, std::string_view key, const String& value) {
  StringMap<String> userInfo = error.userInfo();
  userInfo.set(key, value);
  return {error.domain(), error.code(), std::move(userInfo), error.cause()};
}

}  // namespace

Error rewordedError(const Error& like, const char* description, const char* suggestion, const String& name,
                    const String& message) {
  String shown(replacingInvalidUTF8(name.view()));
  return {like.domain(),
          like.code(),
          {{kErrorLocalizedDescriptionKey, format(localized(description), {shown})},
           {kErrorLocalizedRecoverySuggestionKey, localized(suggestion)},
           {QRBSourceControlUnderlyingErrorString, message.valueOr("")}}};
}

Error errorWithMessage(const Error& error, const String& message) {
  return withInfo(error, QRBSourceControlUnderlyingErrorString, message);
}

Error errorWithFingerprint(const Error& error, const std::string& fingerprint) {
  return withInfo(error, QRBSourceControlSSHFingerprint, fingerprint);
}

Error errorWithCertificate(const Error& error, const std::string& fingerprint, const std::string& longFingerprint) {
  return withInfo(errorWithFingerprint(error, fingerprint), QRBSourceControlSSLFingerprintSHA256, longFingerprint);
}

}  // namespace qrb
