#pragma once

#include <cstdint>
#include <string>
#include <string_view>

/// Why git failed, as far as the caller answers it in its own way.
enum class GitFailureKind : std::uint8_t {
  /// Anything else: the message says it.
  Other,
  /// The program could not be started.
  GitMissing,
  /// Git died of a signal.
  Killed,
  /// A pipe or a device stands where git expects a file.
  Obstructed,
  NotARepository,
  /// The repository belongs to another user, and git refuses to trust it.
  DubiousOwnership,
  /// Of a format, or with an extension, that this git does not know.
  RepositoryTooNew,
  /// What was asked needs a working copy, and the repository is bare.
  NoWorkingCopy,
  /// HEAD names a branch that has no commit yet.
  UnbornHead,
  UnknownRevision,
  /// What was asked for as a revision is the contents of a file or of a folder.
  FileNotRevision,
  FolderNotRevision,
  /// The current branch follows none, or HEAD is at no branch.
  NoUpstream,
  NoCommonAncestor,
  /// A branch that was to be changed or removed.
  UnknownBranch,
  UnknownPath,
  /// A file that is not on disk, where it was to be looked at.
  FileDeleted,
  /// A folder or a submodule in place of a file.
  NotAFile,
  /// What was to be added is what the rules of the repository leave out.
  Ignored,
  /// A path that lies outside of the working copy.
  PathOutside,
  /// What was to be made is there already.
  FileExists,
  /// Another process holds a lock file, or came in between.
  Locked,
  /// A branch, tag or remote that was to be made, or one whose name leaves no room for it.
  Exists,
  /// A branch that a working copy has checked out.
  BranchInUse,
  IndexUnreadable,
  RepositoryCorrupt,
  /// A branch, a tag or HEAD is there, and what it stands for is not.
  TargetMissing,
  ConfigurationBroken,
  /// A merge, rebase or the like has to be ended first.
  MidOperation,
  /// Local changes would be lost.
  LocalChanges,
  /// A merge could not be finished; what is left to do is in the working copy.
  MergeConflict,
  NothingToCommit,
  PermissionDenied,
  DiskFull,
  ReadOnlyFileSystem,
  /// The user has no name or no e-mail address configured.
  IdentityUnknown,
  AuthenticationFailed,
  HostKeyUnverified,
  CertificateInvalid,
  ProtocolNotAllowed,
  /// No remote of that name is configured.
  UnknownRemote,
  RemoteNotFound,
  RemoteUnreachable,
  /// The server is there and the user known, but not allowed to do that.
  RemotePermissionDenied,
  /// What the remote was asked for by name.
  RemoteBranchMissing,
  /// A file of ssh's that holds no key.
  KeyInvalid,
  RemoteOutOfDate,
  RemoteRejected,
};

struct GitFailure {
  GitFailureKind kind = GitFailureKind::Other;
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
