#pragma once

#include <cstdint>
#include <string_view>

#include <qrb/Error.h>
#include <qrb/Export.h>
#include <qrb/SharedString.h>
#include <qrb/URL.h>

#include "QRBSourceControlConstants.h"

/// Domain of every error made here, except the communication failure.
inline constexpr std::string_view QRBSourceControlErrorDomain =
    QRB_VENDOR_IDENTIFIER_PREFIX ".SourceControlErrorDomain";

/// User-info key: the message of the tool or layer that failed, as it came. Present, if only as an empty text, in every
/// error whose constructor takes an underlying message.
inline constexpr std::string_view QRBSourceControlUnderlyingErrorString =
    QRB_VENDOR_IDENTIFIER_PREFIX ".sourcecontrol.UnderlyingErrorString";

/// User-info key: the server fingerprint that failed to verify.
inline constexpr std::string_view QRBSourceControlSSHFingerprint =
    QRB_VENDOR_IDENTIFIER_PREFIX ".sourcecontrol.SSHFingerprint";

/// User-info key, beside the former where it is a certificate's: the SHA-256 fingerprint, to be shown and not to be
/// kept.
inline constexpr std::string_view QRBSourceControlSSLFingerprintSHA256 =
    QRB_VENDOR_IDENTIFIER_PREFIX ".sourcecontrol.SSLFingerprintSHA256";

namespace qrb {

/// Domain of failures that are not source control's own.
inline constexpr std::string_view kGeneralErrorDomain = "QRBGeneralErrorDomain";

/// Code, in the general domain, of a failed connection to a helper process.
inline constexpr std::int64_t kErrorConnectionInterrupted = 4097;

}  // namespace qrb

/// Codes of the source control domain. They travel between host and plug-ins, so a number never changes its meaning.
enum class QRBSourceControlErrorCode : std::int64_t {
  canceled = -5,
  invalidURL = -10,
  workingCopyNotFound = -100,
  workingCopyNeedsUpgrade = -110,
  workingCopyTooNew = -111,
  workingCopyUpgradeNotNeeded = -112,
  repositoryNotFound = -200,
  repositoryLocked = -203,
  repositoryExists = -204,
  locationNotFound = -250,
  revisionNotFound = -251,
  branchNotFound = -252,
  tagNotFound = -253,
  pathNotFound = -254,
  remoteRepositoryNotFound = -300,
  remoteRepositoryOperationInvalid = -302,
  remoteRepositoryNameInvalid = -303,
  systemUnusable = -501,
  systemDistributedRepositoriesUnsupported = -502,
  systemBrowsingRepositoriesUnsupported = -503,
  systemRootURLOfRepositoriesUnsupported = -504,
  branchAndTagLocationsRequired = -505,
  systemBranchAndTagLocationsUnsupported = -506,
  /// Both of up to date and out of date; the texts tell them apart.
  remoteOperationUpToDate = -602,
  remoteOperationOutOfDate = -602,
  remoteOperationRejected = -604,
  repositoryMidOperation = -605,
  requestUnsupported = -700,
  authenticationStrategyUnsupported = -1001,
  authenticationCredentialsInvalid = -1002,
  authenticationSSLCertificateInvalid = -1003,
  authenticationSSHFingerprintInvalid = -1004,
  authenticationPermissionDenied = -1020,
  authenticationSSHKeyInvalid = -1030,
  authenticationSSHKeyNotFound = -1031,
  authenticationSSHKeyPermissionsInvalid = -1032,
  authenticationSSHPublicKeyNotFound = -1033,
};

/// @name Constructors
/// Each returns an error with description and, where there is something to do, recovery suggestion, in the host's
/// language. An absent underlying message is kept as an empty one. None fails; any thread.
/// @{
QRB_EXPORT qrb::Error QRBSourceControlError_Canceled();
QRB_EXPORT qrb::Error QRBSourceControlError_InvalidURL(const qrb::URL& url, const qrb::String& systemName,
                                                       const qrb::String& underlyingMessage);
QRB_EXPORT qrb::Error QRBSourceControlError_WorkingCopyNotFound(const qrb::String& underlyingMessage);
QRB_EXPORT qrb::Error QRBSourceControlError_WorkingCopyNeedsUpgrade();
QRB_EXPORT qrb::Error QRBSourceControlError_WorkingCopyTooNew();
QRB_EXPORT qrb::Error QRBSourceControlError_WorkingCopyUpgradeNotNeeded();
QRB_EXPORT qrb::Error QRBSourceControlError_RepositoryNotFound(const qrb::String& underlyingMessage);
/// The name may be absent: the text then names no repository.
QRB_EXPORT qrb::Error QRBSourceControlError_RepositoryLocked(const qrb::String& repositoryName,
                                                             const qrb::String& underlyingMessage);
QRB_EXPORT qrb::Error QRBSourceControlError_RepositoryExists(const qrb::URL& location);
/// The code, stored as it is, says what kind of location the texts speak of: one of location, branch, tag and path not
/// found; any other means a revision. The name may be absent or empty: the text then names none.
QRB_EXPORT qrb::Error QRBSourceControlError_LocationNotFound(std::int64_t code, const qrb::String& locationName,
                                                             const qrb::String& underlyingMessage);
QRB_EXPORT qrb::Error QRBSourceControlError_LocationNotFound(QRBSourceControlErrorCode code,
                                                             const qrb::String& locationName,
                                                             const qrb::String& underlyingMessage);
QRB_EXPORT qrb::Error QRBSourceControlError_RemoteRepositoryNotFound(const qrb::String& underlyingMessage);
QRB_EXPORT qrb::Error QRBSourceControlError_RemoteRepositoryOperationInvalid();
/// The description keeps its placeholder, for the caller who knows the name.
QRB_EXPORT qrb::Error QRBSourceControlError_RemoteRepositoryNameInvalid();
QRB_EXPORT qrb::Error QRBSourceControlError_SystemUnusable();
QRB_EXPORT qrb::Error QRBSourceControlError_SystemDistributedRepositoriesUnsupported();
QRB_EXPORT qrb::Error QRBSourceControlError_SystemBrowsingRepositoriesUnsupported();
QRB_EXPORT qrb::Error QRBSourceControlError_SystemRootURLOfRepositoriesUnsupported();
QRB_EXPORT qrb::Error QRBSourceControlError_BranchAndTagLocationsRequired();
QRB_EXPORT qrb::Error QRBSourceControlError_SystemBranchAndTagLocationsUnsupported();
QRB_EXPORT qrb::Error QRBSourceControlError_RemoteOperationUpToDate(const qrb::String& underlyingMessage);
QRB_EXPORT qrb::Error QRBSourceControlError_RemoteOperationOutOfDate(const qrb::String& underlyingMessage);
QRB_EXPORT qrb::Error QRBSourceControlError_RemoteOperationRejected(const qrb::String& underlyingMessage);
QRB_EXPORT qrb::Error QRBSourceControlError_RepositoryMidOperation(const qrb::String& underlyingMessage);
/// A plug-in does not serve a request. The name is the system's; `what` is for people what was asked, such as
/// "merging"; either may be absent. The underlying message is the request's method.
QRB_EXPORT qrb::Error QRBSourceControlError_RequestUnsupported(const qrb::String& systemName, const qrb::String& what,
                                                               const qrb::String& method);
QRB_EXPORT qrb::Error QRBSourceControlError_AuthenticationStrategyUnsupported();
QRB_EXPORT qrb::Error QRBSourceControlError_AuthenticationCredentialsInvalid(const qrb::String& underlyingMessage);
QRB_EXPORT qrb::Error QRBSourceControlError_AuthenticationSSLCertificateInvalid(const qrb::String& underlyingMessage);
/// An absent fingerprint is kept as an empty one.
QRB_EXPORT qrb::Error QRBSourceControlError_AuthenticationSSHFingerprintInvalid(const qrb::String& underlyingMessage,
                                                                                const qrb::String& fingerprint);
QRB_EXPORT qrb::Error QRBSourceControlError_AuthenticationPermissionDenied(const qrb::String& underlyingMessage);
QRB_EXPORT qrb::Error QRBSourceControlError_AuthenticationSSHKeyInvalid(const qrb::URL& keyFile);
QRB_EXPORT qrb::Error QRBSourceControlError_AuthenticationSSHKeyNotFound(const qrb::URL& keyFile);
QRB_EXPORT qrb::Error QRBSourceControlError_AuthenticationSSHKeyPermissionsInvalid(const qrb::URL& keyFile);
QRB_EXPORT qrb::Error QRBSourceControlError_AuthenticationSSHPublicKeyNotFound(const qrb::URL& keyFile);
/// The service process could not be reached, or went away; in the general domain. What is known of the reason is its
/// underlying message, which is absent where nothing is.
QRB_EXPORT qrb::Error QRBSourceControlError_PlugInCommunicationFailure(const qrb::String& underlyingMessage = {});
/// @}
