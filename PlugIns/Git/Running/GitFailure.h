#pragma once

#include <cstdint>
#include <string>
#include <string_view>

/// Why git failed, as far as the caller answers it in its own way.
enum class GitFailureKind : std::uint8_t {
  /// Anything else: the message says it.
  other,
  /// The program could not be started.
  gitMissing,
  /// Git died of a signal.
  killed,
  /// A pipe or a device stands where git expects a file.
  obstructed,
  notARepository,
  /// The repository belongs to another user, and git refuses to trust it.
  dubiousOwnership,
  /// The repository has a format or an extension that this git does not know.
  repositoryTooNew,
  /// What was asked needs a working copy, and the repository is bare.
  noWorkingCopy,
  /// HEAD names a branch that has no commit yet.
  unbornHead,
  unknownRevision,
  /// What was asked for as a revision is the contents of a file or of a folder.
  fileNotRevision,
  folderNotRevision,
  /// The current branch follows none, or HEAD is at no branch.
  noUpstream,
  noCommonAncestor,
  /// A branch that was to be changed or removed.
  unknownBranch,
  unknownPath,
  /// A file that is not on disk, where it was to be looked at.
  fileDeleted,
  /// A folder or a submodule in place of a file.
  notAFile,
  /// What was to be added is what the rules of the repository leave out.
  ignored,
  /// A path that lies outside of the working copy.
  pathOutside,
  /// What was to be made is there already.
  fileExists,
  /// Another process holds a lock file, or came in between.
  locked,
  /// A branch, tag or remote that was to be made, or one whose name leaves no room for it.
  exists,
  /// A branch that a working copy has checked out.
  branchInUse,
  indexUnreadable,
  repositoryCorrupt,
  /// A branch, a tag or HEAD is there, and what it stands for is not.
  targetMissing,
  configurationBroken,
  /// A merge, rebase or the like has to be ended first.
  midOperation,
  /// Local changes would be lost.
  localChanges,
  /// A merge could not be finished; what is left to do is in the working copy.
  mergeConflict,
  nothingToCommit,
  permissionDenied,
  diskFull,
  readOnlyFileSystem,
  /// The user has no name or no e-mail address configured.
  identityUnknown,
  authenticationFailed,
  hostKeyUnverified,
  certificateInvalid,
  protocolNotAllowed,
  /// No remote of that name is configured.
  unknownRemote,
  remoteNotFound,
  remoteUnreachable,
  /// The server is there and the user known, but not allowed to do that.
  remotePermissionDenied,
  /// What the remote was asked for by name.
  remoteBranchMissing,
  /// A file of ssh's that holds no key.
  keyInvalid,
  remoteOutOfDate,
  remoteRejected,
};

struct GitFailure {
  GitFailureKind kind = GitFailureKind::other;
  /// What the failure is about, where the message tells: of Locked the lock file's path, of UnknownRevision the
  /// revision, of RepositoryCorrupt the object, of TargetMissing the ref, of paths the path, of DubiousOwnership the
  /// folder, of RemoteBranchMissing the branch, of Killed the signal.
  std::string detail;
  /// What git said, without its hints, which name commands that users of a host do not have, and without the white
  /// space around it.
  std::string message;
};

/// Tells from git's exit status and error output, with messages in English as gitEnvironment() has them, why it failed.
/// Texts within names, as of a file called "index.lock", do not mislead it: only git's own words at their places count.
/// Where hooks have run (`hasRunHooks`), an exit status that may be a hook's is never told as what another process
/// or a server has done, whatever the hook has written.
GitFailure classifyGitFailure(int exitCode, std::string_view errorOutput, bool hasRunHooks = false);
