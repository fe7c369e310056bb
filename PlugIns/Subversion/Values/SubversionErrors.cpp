#include "SubversionErrors.h"

#include "Errors.h"
#include "Localization.h"
#include "QRBSourceControlBranch.h"
#include "QRBSourceControlError.h"
#include "QRBSourceControlPathLocation.h"
#include "QRBSourceControlRevision.h"
#include "QRBSourceControlTag.h"

namespace {

using Kind = SubversionFailureKind;

/// A login that a server refused may mean that it was wrong, that there was none, or that it was meant for another.
qrb::Error loginError(const SubversionFailure& failure, const SubversionClient* client) {
  const SubversionServerAsked* const asked = client != nullptr ? &client->asked() : nullptr;
  if (asked != nullptr && !asked->foreignServer.empty() && !asked->gaveSecret) {
    return QRBSourceControlError_AuthenticationPermissionDenied("Another server, " + asked->foreignServer +
                                                                ", wants a login of its own. Use its address instead "
                                                                "if you trust it.\n" +
                                                                failure.message);
  }
  bool wasTried = asked != nullptr && (asked->gaveSecret || (client->access().address.isSSH() &&
                                                             client->access().kind != qrb::RemoteAccess::Kind::none));
  if (wasTried) return QRBSourceControlError_AuthenticationCredentialsInvalid(failure.message);
  return qrb::errorWithMessage(QRBSourceControlError_AuthenticationStrategyUnsupported(), failure.message);
}

qrb::Error trustError(const SubversionFailure& failure, const SubversionClient& client) {
  const SubversionServerAsked& asked = client.asked();
  if (client.access().address.isSSH()) {
    return QRBSourceControlError_AuthenticationSSHFingerprintInvalid(failure.message, asked.fingerprint);
  }
  std::string message = asked.certificateFault.empty() ? failure.message : asked.certificateFault;
  qrb::Error error = QRBSourceControlError_AuthenticationSSLCertificateInvalid(message);
  return asked.fingerprint.empty() ? error : qrb::errorWithCertificate(error, asked.fingerprint, asked.longFingerprint);
}

/// Errors whose codes say too little for what users read.
qrb::Error plainError(const SubversionFailure& failure, const qrb::String& name) {
  auto make = [&](const qrb::Error& like, const char* description, const char* suggestion) {
    return qrb::rewordedError(like, description, suggestion, failure.subject, failure.message);
  };
  switch (failure.kind) {
    case Kind::notVersioned:
      return make(QRBSourceControlError_LocationNotFound(QRBSourceControlErrorCode::pathNotFound, {}, {}),
                  qrb::localizable("“%@” is not under source control."), qrb::localizable("Add it and try again."));
    case Kind::damaged:
      return make(QRBSourceControlError_WorkingCopyNotFound({}),
                  qrb::localizable("The administrative data of the working copy cannot be read."),
                  qrb::localizable("Check the working copy out again, and bring your changes over."));
    case Kind::workingCopyLocked:
      return make(QRBSourceControlError_RepositoryLocked(name, {}),
                  qrb::localizable("Another program works in the working copy, or was interrupted in it."),
                  qrb::localizable("Wait until other programs are finished with it. If none is, run svn cleanup."));
    case Kind::fileLocked:
      return make(QRBSourceControlError_RepositoryLocked({}, {}),
                  qrb::localizable("Somebody else has locked a file that the operation would change."),
                  qrb::localizable("Ask whoever holds the lock to release it, and try again."));
    case Kind::exists:
      return make(QRBSourceControlError_RepositoryExists({}),
                  qrb::localizable("“%@” cannot be made, because something of that name is there."),
                  qrb::localizable("Choose another name and try again."));
    case Kind::localChanges:
      return make(QRBSourceControlError_RepositoryMidOperation({}),
                  qrb::localizable("The operation would lose changes that are not committed."),
                  qrb::localizable("Commit or discard the changes and try again."));
    case Kind::outOfDate:
      return make(QRBSourceControlError_RemoteOperationOutOfDate({}),
                  qrb::localizable("What is to be committed is out of date."),
                  qrb::localizable("Update the working copy and try again."));
    case Kind::conflicted:
      return make(QRBSourceControlError_RepositoryMidOperation({}), qrb::localizable("There are conflicts."),
                  qrb::localizable("Resolve the conflicts, mark the files as resolved and try again."));
    case Kind::hookRefused:
      return QRBSourceControlError_RemoteOperationRejected(failure.message);
    case Kind::unrelated:
      return make(QRBSourceControlError_LocationNotFound(QRBSourceControlErrorCode::branchNotFound, {}, {}),
                  qrb::localizable("The two have no history in common that would tell what to merge."),
                  qrb::localizable("Name a branch that was copied from the same line, and try again."));
    case Kind::diskFull:
      return make(QRBSourceControlError_SystemUnusable(), qrb::localizable("The disk is full."),
                  qrb::localizable("Make room and try again."));
    default:
      return make(QRBSourceControlError_SystemUnusable(), qrb::localizable("Subversion could not do this."),
                  qrb::localizable("See what it said, and try again."));
  }
}

}  // namespace

qrb::Error subversionError(const SubversionFailure& failure, const qrb::String& name, const SubversionClient* client) {
  switch (failure.kind) {
    case Kind::none:
      return {};
    case Kind::cancelled:
      return QRBSourceControlError_Canceled();
    case Kind::notAWorkingCopy:
      return QRBSourceControlError_WorkingCopyNotFound(failure.message);
    case Kind::needsUpgrade:
      return QRBSourceControlError_WorkingCopyNeedsUpgrade();
    case Kind::tooNew:
      return QRBSourceControlError_WorkingCopyTooNew();
    case Kind::pathNotFound:
      return QRBSourceControlError_LocationNotFound(QRBSourceControlErrorCode::pathNotFound, failure.subject,
                                                    failure.message);
    case Kind::revisionNotFound:
      return QRBSourceControlError_LocationNotFound(QRBSourceControlErrorCode::revisionNotFound, {}, failure.message);
    case Kind::repositoryNotFound:
      return QRBSourceControlError_RemoteRepositoryNotFound(failure.message);
    case Kind::unsupportedAddress:
      return QRBSourceControlError_InvalidURL(qrb::URL(failure.subject), "Subversion", failure.message);
    case Kind::loginMissing:
    case Kind::loginRefused:
      return loginError(failure, client);
    case Kind::certificateUntrusted:
      return client != nullptr ? trustError(failure, *client)
                               : QRBSourceControlError_AuthenticationSSLCertificateInvalid(failure.message);
    case Kind::permissionDenied:
      return QRBSourceControlError_AuthenticationPermissionDenied(failure.message);
    default:
      return plainError(failure, name);
  }
}

qrb::Error subversionLocationNotFound(const QRBSourceControlRevisionLocationPtr& location, const qrb::String& message) {
  auto code = QRBSourceControlErrorCode::revisionNotFound;
  qrb::String name = location ? location->displayName() : qrb::String();
  if (dynamic_cast<const QRBSourceControlBranch*>(location.get()) != nullptr) {
    code = QRBSourceControlErrorCode::branchNotFound;
  } else if (dynamic_cast<const QRBSourceControlTag*>(location.get()) != nullptr) {
    code = QRBSourceControlErrorCode::tagNotFound;
  } else if (dynamic_cast<const QRBSourceControlPathLocation*>(location.get()) != nullptr) {
    code = QRBSourceControlErrorCode::pathNotFound;
  }
  return QRBSourceControlError_LocationNotFound(code, name, message);
}

qrb::Error subversionWithoutRemotes() {
  return QRBSourceControlError_SystemDistributedRepositoriesUnsupported();
}
