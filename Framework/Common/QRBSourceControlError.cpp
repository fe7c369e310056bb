#include "QRBSourceControlError.h"

#include <utility>
#include <vector>

#include "Localization.h"
#include "UTF8.h"

namespace {

using Code = QRBSourceControlErrorCode;
using qrb::localizable;
using UserInfo = std::vector<std::pair<qrb::String, qrb::String>>;

// What an error of one kind always says. A kind without a suggestion has none.
struct Kind {
  Code code;
  const char* description;
  const char* suggestion = nullptr;
};

UserInfo texts(std::string description, const qrb::String& suggestion) {
  UserInfo info{{qrb::kErrorLocalizedDescriptionKey, qrb::String(description)}};
  if (suggestion) info.emplace_back(qrb::kErrorLocalizedRecoverySuggestionKey, suggestion);
  return info;
}

// The description's placeholders filled with the names.
UserInfo textsOf(const Kind& kind, std::initializer_list<qrb::String> names) {
  return texts(qrb::format(qrb::localized(kind.description), names),
               kind.suggestion == nullptr ? qrb::String() : qrb::String(qrb::localized(kind.suggestion)));
}

void addText(UserInfo& info, std::string_view key, const qrb::String& text) {
  info.emplace_back(key, text.valueOr(""));
}

qrb::Error make(Code code, UserInfo info) {
  return qrb::Error(QRBSourceControlErrorDomain, static_cast<std::int64_t>(code),
                    qrb::StringMap<qrb::String>(std::move(info)));
}

qrb::Error plain(const Kind& kind) {
  return make(kind.code, textsOf(kind, {}));
}

qrb::Error withUnderlying(const Kind& kind, const qrb::String& message, std::initializer_list<qrb::String> names = {}) {
  UserInfo info = textsOf(kind, names);
  addText(info, QRBSourceControlUnderlyingErrorString, message);
  return make(kind.code, std::move(info));
}

// A file's name as a text may hold it: bytes that are no text would make the whole text one that no host can show.
qrb::String shownName(const qrb::URL& file) {
  qrb::String name = file.lastPathComponent();
  return name ? qrb::String(qrb::replacingInvalidUTF8(name.view())) : name;
}

const char* kindWord(Code code) {
  switch (code) {
    case Code::locationNotFound:
      return "location";
    case Code::branchNotFound:
      return "branch";
    case Code::tagNotFound:
      return "tag";
    case Code::pathNotFound:
      return "path";
    default:
      return "revision";
  }
}

}  // namespace

qrb::Error QRBSourceControlError_Canceled() {
  return plain({Code::canceled, localizable("The source control operation was canceled.")});
}

qrb::Error QRBSourceControlError_InvalidURL(const qrb::URL& url, const qrb::String& systemName,
                                            const qrb::String& underlyingMessage) {
  return withUnderlying(
      {Code::invalidURL,
       localizable("The source control operation failed because the URL \"%@\" cannot be used with %@."),
       localizable("Make sure the URL is valid and try again.")},
      underlyingMessage, {url.withoutPassword().absoluteString(), systemName});
}

qrb::Error QRBSourceControlError_WorkingCopyNotFound(const qrb::String& underlyingMessage) {
  return withUnderlying({Code::workingCopyNotFound,
                         localizable("The source control operation failed because no working copy could be found."),
                         localizable("Make sure the file is in a valid working copy and try again.")},
                        underlyingMessage);
}

qrb::Error QRBSourceControlError_WorkingCopyNeedsUpgrade() {
  return plain({Code::workingCopyNeedsUpgrade,
                localizable("This working copy needs to be upgraded to support the PlugIn installed."),
                localizable("The working copy was made using an older PlugIn and needs to be upgraded before it can be "
                            "used.")});
}

qrb::Error QRBSourceControlError_WorkingCopyTooNew() {
  return plain({Code::workingCopyTooNew,
                localizable("The working copy is from a newer version of the PlugIn and cannot be used."),
                localizable("The working copy needs to be checked out with this version of the PlugIn in order to be "
                            "compatible.")});
}

qrb::Error QRBSourceControlError_WorkingCopyUpgradeNotNeeded() {
  return plain({Code::workingCopyUpgradeNotNeeded, localizable("This working copy does not need to be upgraded.")});
}

qrb::Error QRBSourceControlError_RepositoryNotFound(const qrb::String& underlyingMessage) {
  return withUnderlying({Code::repositoryNotFound,
                         localizable("The source control operation failed because no repository could be found."),
                         localizable("Make sure a valid repository exists at the specified location and try again.")},
                        underlyingMessage);
}

qrb::Error QRBSourceControlError_RepositoryLocked(const qrb::String& repositoryName,
                                                  const qrb::String& underlyingMessage) {
  const char* description =
      repositoryName ? localizable("The repository “%@” is locked.") : localizable("The repository is locked.");
  return withUnderlying({Code::repositoryLocked, description,
                         localizable("Make sure any other operations on the repository are finished and try again.")},
                        underlyingMessage, {repositoryName});
}

qrb::Error QRBSourceControlError_RepositoryExists(const qrb::URL& location) {
  Kind kind{Code::repositoryExists, localizable("The working copy “%@” already exists."),
            localizable("The location is already under source control. No additional working copies were created.")};
  return make(kind.code, textsOf(kind, {shownName(location)}));
}

qrb::Error QRBSourceControlError_LocationNotFound(QRBSourceControlErrorCode code, const qrb::String& locationName,
                                                  const qrb::String& underlyingMessage) {
  qrb::String word = kindWord(code);
  bool named = !locationName.empty();
  std::string description = qrb::format(
      qrb::localized(localizable("The source control operation failed because the %@%@%@%@ could not be found.")),
      {word, named ? " \"" : "", locationName.valueOr(""), named ? "\"" : ""});
  std::string suggestion =
      qrb::format(qrb::localized(localizable("Make sure a valid %@ exists in the repository and try again.")), {word});
  UserInfo info = texts(std::move(description), qrb::String(suggestion));
  addText(info, QRBSourceControlUnderlyingErrorString, underlyingMessage);
  return make(code, std::move(info));
}

qrb::Error QRBSourceControlError_LocationNotFound(std::int64_t code, const qrb::String& locationName,
                                                  const qrb::String& underlyingMessage) {
  return QRBSourceControlError_LocationNotFound(static_cast<Code>(code), locationName, underlyingMessage);
}

qrb::Error QRBSourceControlError_RemoteRepositoryNotFound(const qrb::String& underlyingMessage) {
  return withUnderlying({Code::remoteRepositoryNotFound, localizable("The remote repository could not be found."),
                         localizable("Make sure a valid repository exists at the specified location and try again.")},
                        underlyingMessage);
}

qrb::Error QRBSourceControlError_RequestUnsupported(const qrb::String& systemName, const qrb::String& what,
                                                    const qrb::String& method) {
  qrb::String system = systemName.empty() ? qrb::String(qrb::localized("The source control system")) : systemName;
  qrb::String asked = what.empty() ? qrb::String(qrb::localized("this request")) : what;
  UserInfo info = texts(qrb::format(qrb::localized("%@ does not support %@."), {system, asked}), {});
  addText(info, QRBSourceControlUnderlyingErrorString, method);
  return qrb::Error(QRBSourceControlErrorDomain, static_cast<std::int64_t>(Code::requestUnsupported),
                    qrb::StringMap<qrb::String>(std::move(info)));
}

qrb::Error QRBSourceControlError_RemoteRepositoryOperationInvalid() {
  return plain({Code::remoteRepositoryOperationInvalid,
                localizable("The source control operation failed because it cannot be performed on a remote "
                            "repository.")});
}

qrb::Error QRBSourceControlError_RemoteRepositoryNameInvalid() {
  return plain(
      {Code::remoteRepositoryNameInvalid, localizable("The name “%@” is not a valid remote repository name.")});
}

qrb::Error QRBSourceControlError_SystemUnusable() {
  return plain(
      {Code::systemUnusable, localizable("The source control system for the repository could not be loaded.")});
}

qrb::Error QRBSourceControlError_SystemDistributedRepositoriesUnsupported() {
  return plain({Code::systemDistributedRepositoriesUnsupported,
                localizable("This repository does not support distributed remote repositories.")});
}

qrb::Error QRBSourceControlError_SystemBrowsingRepositoriesUnsupported() {
  return plain(
      {Code::systemBrowsingRepositoriesUnsupported, localizable("This repository does not support browsing.")});
}

qrb::Error QRBSourceControlError_SystemRootURLOfRepositoriesUnsupported() {
  return plain({Code::systemRootURLOfRepositoriesUnsupported,
                localizable("This repository does not support subpaths in the URL.")});
}

qrb::Error QRBSourceControlError_BranchAndTagLocationsRequired() {
  return plain({Code::branchAndTagLocationsRequired,
                localizable("This repository requires setting branch and tag locations before referencing branches or "
                            "tags from it.")});
}

qrb::Error QRBSourceControlError_SystemBranchAndTagLocationsUnsupported() {
  return plain({Code::systemBranchAndTagLocationsUnsupported,
                localizable("This repository does not support setting branch and tag locations.")});
}

qrb::Error QRBSourceControlError_RemoteOperationUpToDate(const qrb::String& underlyingMessage) {
  return withUnderlying({Code::remoteOperationUpToDate, localizable("The repository is up to date."),
                         localizable("The repository already contains all changes.")},
                        underlyingMessage);
}

qrb::Error QRBSourceControlError_RemoteOperationOutOfDate(const qrb::String& underlyingMessage) {
  return withUnderlying(
      {Code::remoteOperationOutOfDate, localizable("The local repository is out of date."),
       localizable("Make sure all changes have been pulled from the remote repository and try again.")},
      underlyingMessage);
}

qrb::Error QRBSourceControlError_RemoteOperationRejected(const qrb::String& underlyingMessage) {
  return withUnderlying({Code::remoteOperationRejected, localizable("The remote repository rejected commits."),
                         localizable("Make sure you have permission to push to the remote repository and try again.")},
                        underlyingMessage);
}

qrb::Error QRBSourceControlError_RepositoryMidOperation(const qrb::String& underlyingMessage) {
  return withUnderlying({Code::repositoryMidOperation, localizable("The repository has an uncompleted operation."),
                         localizable("The operation could not be completed because the repository has an operation "
                                     "that must be completed first. Finish any existing operations with this "
                                     "repository and try again.")},
                        underlyingMessage);
}

qrb::Error QRBSourceControlError_AuthenticationStrategyUnsupported() {
  return plain({Code::authenticationStrategyUnsupported,
                localizable("Authentication failed because no authentication credentials were provided."),
                localizable("Provide valid authentication credentials for accessing the server and try again.")});
}

qrb::Error QRBSourceControlError_AuthenticationCredentialsInvalid(const qrb::String& underlyingMessage) {
  return withUnderlying({Code::authenticationCredentialsInvalid,
                         localizable("Authentication failed because the user name or password was incorrect."),
                         localizable("Verify the user name and password were entered correctly and try again.")},
                        underlyingMessage);
}

qrb::Error QRBSourceControlError_AuthenticationSSLCertificateInvalid(const qrb::String& underlyingMessage) {
  return withUnderlying(
      {Code::authenticationSSLCertificateInvalid, localizable("The server SSL certificate failed to verify."),
       localizable("A secure connection to the server cannot be established as the server cannot be trusted.")},
      underlyingMessage);
}

qrb::Error QRBSourceControlError_AuthenticationSSHFingerprintInvalid(const qrb::String& underlyingMessage,
                                                                     const qrb::String& fingerprint) {
  Kind kind{Code::authenticationSSHFingerprintInvalid, localizable("The server SSH fingerprint failed to verify."),
            localizable("A secure connection to the server cannot be established as the server cannot be trusted.")};
  UserInfo info = textsOf(kind, {});
  addText(info, QRBSourceControlUnderlyingErrorString, underlyingMessage);
  addText(info, QRBSourceControlSSHFingerprint, fingerprint);
  return make(kind.code, std::move(info));
}

qrb::Error QRBSourceControlError_AuthenticationPermissionDenied(const qrb::String& underlyingMessage) {
  return withUnderlying(
      {Code::authenticationPermissionDenied, localizable("Permission was denied accessing files for the repository."),
       localizable("Ensure you have permissions to access these files in the repository.")},
      underlyingMessage);
}

namespace {

qrb::Error ofKeyFile(const Kind& kind, const qrb::URL& keyFile) {
  return make(kind.code, textsOf(kind, {shownName(keyFile)}));
}

}  // namespace

qrb::Error QRBSourceControlError_AuthenticationSSHKeyInvalid(const qrb::URL& keyFile) {
  return ofKeyFile({Code::authenticationSSHKeyInvalid, localizable("The SSH key “%@” is not valid."),
                    localizable("Ensure there is a valid SSH key pair in the specified location.")},
                   keyFile);
}

qrb::Error QRBSourceControlError_AuthenticationSSHKeyNotFound(const qrb::URL& keyFile) {
  return ofKeyFile({Code::authenticationSSHKeyNotFound, localizable("The SSH key “%@” does not exist."),
                    localizable("Ensure there is a valid SSH private key file in the specified location.")},
                   keyFile);
}

qrb::Error QRBSourceControlError_AuthenticationSSHKeyPermissionsInvalid(const qrb::URL& keyFile) {
  return ofKeyFile(
      {Code::authenticationSSHKeyPermissionsInvalid, localizable("The SSH key “%@” does not have valid permissions."),
       localizable("Ensure the permissions are correctly set on the SSH key pair in the specified location.")},
      keyFile);
}

qrb::Error QRBSourceControlError_AuthenticationSSHPublicKeyNotFound(const qrb::URL& keyFile) {
  std::string suggestion = qrb::format(
      qrb::localized(localizable("Ensure there is a valid SSH public key file named “%@” in the specified location.")),
      {shownName(keyFile.appendingPathExtension("pub"))});
  std::string description = qrb::format(
      qrb::localized(localizable("The SSH key “%@” does not have a valid public key.")), {shownName(keyFile)});
  return make(Code::authenticationSSHPublicKeyNotFound, texts(std::move(description), qrb::String(suggestion)));
}

qrb::Error QRBSourceControlError_PlugInCommunicationFailure(const qrb::String& underlyingMessage) {
  constexpr const char* domain = "FoundationErrors";
  // The escape in the first fallback is part of the text, backslash and all: it is shown as it stands.
  std::string description =
      qrb::localizedInDomain(domain, "Err4097", "Couldn\\U2019t communicate with a helper application.");
  std::string suggestion = qrb::localizedInDomain(
      domain, "Err4097-R", "Try your operation again. If that fails, quit and relaunch the application and try again.");
  UserInfo info = texts(std::move(description), qrb::String(suggestion));
  if (underlyingMessage) addText(info, QRBSourceControlUnderlyingErrorString, underlyingMessage);
  return qrb::Error(qrb::kGeneralErrorDomain, qrb::kErrorConnectionInterrupted,
                    qrb::StringMap<qrb::String>(std::move(info)));
}
