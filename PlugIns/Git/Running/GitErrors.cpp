#include "GitErrors.h"

#include <algorithm>
#include <utility>
#include <vector>

#include "Errors.h"
#include "Localization.h"
#include "QRBSourceControlError.h"
#include "UTF8.h"

namespace {

qrb::Error locationNotFound(QRBSourceControlErrorCode code, const GitFailure& failure) {
  return QRBSourceControlError_LocationNotFound(code, failure.detail, failure.message);
}

/// Git's own advice is three lines long and speaks of a command that the user of a host has not seen.
std::string dubiousOwnershipMessage(const GitFailure& failure) {
  std::string text = "The folder “" + failure.detail +
                     "” belongs to another user, and Git works in it only when it is told to trust it: git config "
                     "--global --add safe.directory '" +
                     failure.detail + "'\n";
  return text + failure.message;
}

const char* existsDescription(GitThing thing) {
  switch (thing) {
    case GitThing::branch:
      return qrb::localizable("The branch “%@” cannot be created, because one of that or a conflicting name exists.");
    case GitThing::tag:
      return qrb::localizable("The tag “%@” cannot be created, because one of that or a conflicting name exists.");
    case GitThing::remoteRepository:
      break;
  }
  return qrb::localizable("The remote repository “%@” cannot be added, because one of that name exists.");
}

}  // namespace

qrb::Error gitAlreadyExists(GitThing thing, const qrb::String& name, const qrb::String& message) {
  return qrb::rewordedError(QRBSourceControlError_RepositoryExists({}), existsDescription(thing),
                            qrb::localizable("Choose another name and try again."), name, message);
}

qrb::Error gitBranchInUse(const qrb::String& name, const qrb::String& message) {
  return qrb::rewordedError(QRBSourceControlError_RepositoryLocked({}, message),
                            qrb::localizable("The branch “%@” is checked out in a working copy."),
                            qrb::localizable("Switch that working copy to another branch and try again."), name,
                            message);
}

qrb::Error gitUnclearBranch(const qrb::String& name, const qrb::String& message) {
  return qrb::rewordedError(QRBSourceControlError_LocationNotFound(QRBSourceControlErrorCode::branchNotFound, {}, {}),
                            qrb::localizable("Which branch is to be sent to “%@” is not clear."),
                            qrb::localizable("Switch to the branch that you mean, and send it without naming another."),
                            name, message);
}

namespace {

/// The folder of a ref, and what is in it.
struct RefFolder {
  std::string_view name;
  const char* word;
  QRBSourceControlErrorCode code;
};
constexpr RefFolder refFolders[] = {{"refs/tags/", "tag", QRBSourceControlErrorCode::tagNotFound},
                                    {"refs/heads/", "branch", QRBSourceControlErrorCode::branchNotFound},
                                    {"refs/remotes/", "branch", QRBSourceControlErrorCode::branchNotFound},
                                    {"", "revision", QRBSourceControlErrorCode::revisionNotFound}};

const RefFolder& folderOf(std::string_view name) {
  return *std::ranges::find_if(refFolders, [name](const RefFolder& each) { return name.starts_with(each.name); });
}

qrb::Error targetMissing(const GitFailure& failure, const char* suggestion) {
  return qrb::rewordedError(
      QRBSourceControlError_RepositoryNotFound({}),
      qrb::localizable("The repository is damaged: the revision that “%@” stands for is missing."), suggestion,
      failure.detail.substr(folderOf(failure.detail).name.size()), failure.message);
}

qrb::Error noRevision(const GitFailure& failure) {
  const RefFolder& folder = folderOf(failure.detail);
  std::string named = qrb::localized(folder.word) + " \"" + failure.detail.substr(folder.name.size()) + "\"";
  return qrb::rewordedError(QRBSourceControlError_LocationNotFound(folder.code, {}, {}),
                            failure.kind == GitFailureKind::fileNotRevision
                                ? qrb::localizable("The %@ is the contents of a file, and no revision.")
                                : qrb::localizable("The %@ is the contents of a folder, and no revision."),
                            qrb::localizable("Name a revision, or a branch or tag that stands for one, and try again."),
                            named, failure.message);
}

/// Errors whose codes say too little for what users read.
qrb::Error rewordedFailure(const GitFailure& failure) {
  auto make = [&](const qrb::Error& like, const char* description, const char* suggestion) {
    return qrb::rewordedError(like, description, suggestion, failure.detail, failure.message);
  };
  qrb::Error pathNotFound = QRBSourceControlError_LocationNotFound(QRBSourceControlErrorCode::pathNotFound, {}, {});
  const char* fetchAgain = qrb::localizable(
      "Get what is missing back from a backup or another clone, or clone the repository again and bring your changes "
      "over.");
  switch (failure.kind) {
    case GitFailureKind::fileExists:
      return make(QRBSourceControlError_RepositoryExists({}),
                  qrb::localizable("“%@” cannot be made, because something of that name is there."),
                  qrb::localizable("Choose another name and try again."));
    case GitFailureKind::localChanges:
      return make(QRBSourceControlError_RepositoryMidOperation({}),
                  qrb::localizable("The operation would lose changes that are not committed."),
                  qrb::localizable("Commit or discard the changes and try again."));
    case GitFailureKind::mergeConflict:
      return make(QRBSourceControlError_RepositoryMidOperation({}), qrb::localizable("The merge has conflicts."),
                  qrb::localizable("Resolve the conflicts, mark the files as resolved and commit, or discard all "
                                   "changes to give up the merge."));
    case GitFailureKind::nothingToCommit:
      return make(QRBSourceControlError_RemoteOperationUpToDate({}), qrb::localizable("There is nothing to commit."),
                  qrb::localizable("Name files that have changes, or stage some, and try again."));
    case GitFailureKind::identityUnknown:
      return make(QRBSourceControlError_SystemUnusable(), qrb::localizable("Git does not know who you are."),
                  qrb::localizable("Set your name and your e-mail address with git config --global user.name and git "
                                   "config --global user.email, and try again."));
    case GitFailureKind::remotePermissionDenied:
      return make(
          QRBSourceControlError_AuthenticationPermissionDenied({}),
          qrb::localizable("The server does not permit this."),
          qrb::localizable("Log in as a user who is allowed to do it, or ask whoever keeps the repository on the "
                           "server for permission, and try again."));
    case GitFailureKind::ignored:
      return make(QRBSourceControlError_SystemUnusable(),
                  qrb::localizable("The rules of the repository leave these files out."),
                  qrb::localizable("Change the rules that name them, in the files “.gitignore” for example, and try "
                                   "again."));
    case GitFailureKind::diskFull:
      return make(QRBSourceControlError_SystemUnusable(), qrb::localizable("The disk is full."),
                  qrb::localizable("Make room on the disk and try again."));
    case GitFailureKind::readOnlyFileSystem:
      return make(QRBSourceControlError_SystemUnusable(),
                  qrb::localizable("The files are on a disk that cannot be written to."),
                  qrb::localizable("Make it writable, or work in a copy elsewhere, and try again."));
    case GitFailureKind::remoteUnreachable:
      return make(QRBSourceControlError_RemoteRepositoryNotFound({}),
                  qrb::localizable("The server could not be reached, or did not answer as it should."),
                  qrb::localizable("Make sure that there is a network and that the address is right, and try again."));
    case GitFailureKind::obstructed:
      return make(QRBSourceControlError_RepositoryNotFound({}), qrb::localizable("“%@” is not what Git expects there."),
                  qrb::localizable("Remove it, if you do not know what it is for, and try again."));
    case GitFailureKind::indexUnreadable:
      return make(
          QRBSourceControlError_WorkingCopyNotFound({}),
          qrb::localizable("The staging area of the working copy is damaged."),
          qrb::localizable("Put the file “index” in the repository's folder aside, add all files again, and try "
                           "again. Only what was staged is lost, and nothing that was committed."));
    case GitFailureKind::repositoryCorrupt:
      return make(QRBSourceControlError_RepositoryNotFound({}),
                  failure.detail.empty()
                      ? qrb::localizable("The repository is damaged.")
                      : qrb::localizable("The repository is damaged: “%@” is missing or cannot be read."),
                  fetchAgain);
    case GitFailureKind::targetMissing:
      return targetMissing(failure, fetchAgain);
    case GitFailureKind::repositoryTooNew:
      return make(QRBSourceControlError_WorkingCopyTooNew(),
                  qrb::localizable("The repository has a format that the installed Git does not know."),
                  qrb::localizable("Install the version of Git that made it, or a newer one, and try again."));
    case GitFailureKind::configurationBroken:
      return make(QRBSourceControlError_SystemUnusable(), qrb::localizable("Git's configuration cannot be read."),
                  qrb::localizable("Mend what Git names, and try again."));
    case GitFailureKind::fileNotRevision:
    case GitFailureKind::folderNotRevision:
      return noRevision(failure);
    case GitFailureKind::fileDeleted:
      return make(pathNotFound, qrb::localizable("The file “%@” is not in the working copy any more."),
                  qrb::localizable("Name a revision that has it, or bring it back, and try again."));
    case GitFailureKind::notAFile:
      return make(pathNotFound, qrb::localizable("“%@” is a folder or a submodule, and has no lines."),
                  qrb::localizable("Name a file. The files of a submodule are asked for in the submodule itself."));
    case GitFailureKind::killed:
      return make(QRBSourceControlError_SystemUnusable(), qrb::localizable("Git was killed by %@ while it worked."),
                  qrb::localizable("Try again. If it happens again, make sure that the system does not run out of "
                                   "memory, and that the installed Git works."));
    default:
      return make(QRBSourceControlError_SystemUnusable(), qrb::localizable("The source control operation failed."),
                  qrb::localizable("See what Git says about it, and try again."));
  }
}

}  // namespace

qrb::Error gitError(const GitOutcome& outcome, GitSubject subject, const qrb::String& name) {
  if (outcome) return {};
  if (outcome.kind == GitOutcome::Kind::cancelled) return QRBSourceControlError_Canceled();
  const GitFailure& failure = outcome.failure;
  switch (failure.kind) {
    case GitFailureKind::notARepository:
    case GitFailureKind::noWorkingCopy:
      return subject == GitSubject::workingCopy ? QRBSourceControlError_WorkingCopyNotFound(failure.message)
                                                : QRBSourceControlError_RepositoryNotFound(failure.message);
    case GitFailureKind::dubiousOwnership:
      return QRBSourceControlError_AuthenticationPermissionDenied(dubiousOwnershipMessage(failure));
    case GitFailureKind::permissionDenied:
      return QRBSourceControlError_AuthenticationPermissionDenied(failure.message);
    case GitFailureKind::unbornHead:
      return QRBSourceControlError_LocationNotFound(QRBSourceControlErrorCode::revisionNotFound, "HEAD",
                                                    failure.message);
    case GitFailureKind::unknownRevision:
    case GitFailureKind::noCommonAncestor:
      return locationNotFound(QRBSourceControlErrorCode::revisionNotFound, failure);
    case GitFailureKind::noUpstream:
    case GitFailureKind::unknownBranch:
    case GitFailureKind::remoteBranchMissing:
      return locationNotFound(QRBSourceControlErrorCode::branchNotFound, failure);
    case GitFailureKind::unknownPath:
    case GitFailureKind::pathOutside:
      return locationNotFound(QRBSourceControlErrorCode::pathNotFound, failure);
    case GitFailureKind::exists:
      return gitAlreadyExists(GitThing::branch, failure.detail, failure.message);
    case GitFailureKind::branchInUse:
      return gitBranchInUse(failure.detail, failure.message);
    case GitFailureKind::locked:
      return QRBSourceControlError_RepositoryLocked(
          name,
          failure.message + (failure.detail.empty() ? ""
                                                    : "\nWhere nothing works in the repository any more, a "
                                                      "program has crashed there, and the file is to be removed."));
    case GitFailureKind::midOperation:
      return QRBSourceControlError_RepositoryMidOperation(failure.message);
    case GitFailureKind::authenticationFailed:
    case GitFailureKind::keyInvalid:
      return QRBSourceControlError_AuthenticationCredentialsInvalid(failure.message);
    case GitFailureKind::hostKeyUnverified:
      return QRBSourceControlError_AuthenticationSSHFingerprintInvalid(failure.message, {});
    case GitFailureKind::certificateInvalid:
      return QRBSourceControlError_AuthenticationSSLCertificateInvalid(failure.message);
    case GitFailureKind::protocolNotAllowed:
    case GitFailureKind::unknownRemote:
    case GitFailureKind::remoteNotFound:
      return QRBSourceControlError_RemoteRepositoryNotFound(failure.message);
    case GitFailureKind::remoteOutOfDate:
      return QRBSourceControlError_RemoteOperationOutOfDate(failure.message);
    case GitFailureKind::remoteRejected:
      return QRBSourceControlError_RemoteOperationRejected(failure.message);
    case GitFailureKind::gitMissing:
      break;
    case GitFailureKind::fileExists:
    case GitFailureKind::localChanges:
    case GitFailureKind::mergeConflict:
    case GitFailureKind::nothingToCommit:
    case GitFailureKind::identityUnknown:
    case GitFailureKind::remotePermissionDenied:
    case GitFailureKind::ignored:
    case GitFailureKind::diskFull:
    case GitFailureKind::readOnlyFileSystem:
    case GitFailureKind::remoteUnreachable:
    case GitFailureKind::killed:
    case GitFailureKind::obstructed:
    case GitFailureKind::indexUnreadable:
    case GitFailureKind::repositoryCorrupt:
    case GitFailureKind::targetMissing:
    case GitFailureKind::repositoryTooNew:
    case GitFailureKind::configurationBroken:
    case GitFailureKind::fileNotRevision:
    case GitFailureKind::folderNotRevision:
    case GitFailureKind::fileDeleted:
    case GitFailureKind::notAFile:
    case GitFailureKind::other:
      return rewordedFailure(failure);
  }
  return qrb::errorWithMessage(QRBSourceControlError_SystemUnusable(), failure.message);
}
