#pragma once

#include <string>
#include <vector>

/// What a failure of the library means for whoever asked.
enum class SubversionFailureKind {
  none,
  other,
  /// The host is gone.
  cancelled,
  notAWorkingCopy,
  needsUpgrade,
  tooNew,
  /// The administrative data of a working copy cannot be read.
  damaged,
  /// Another program works in the working copy, or one that was interrupted has left its mark.
  workingCopyLocked,
  /// Somebody else holds the lock of a file.
  fileLocked,
  pathNotFound,
  notVersioned,
  revisionNotFound,
  exists,
  /// Changes that no revision has would be lost.
  localChanges,
  /// What is committed is not based on the newest revision.
  outOfDate,
  conflicted,
  hookRefused,
  unrelated,
  /// No repository, or no server, where the address says.
  repositoryNotFound,
  unsupportedAddress,
  /// The server wants a login and none was to be had.
  loginMissing,
  loginRefused,
  /// The certificate, or of ssh the host key.
  certificateUntrusted,
  permissionDenied,
  diskFull,
  notSupported,
};

/// How a call of the library ended: nothing where it succeeded.
class SubversionFailure {
 public:
  SubversionFailure() = default;
  SubversionFailure(SubversionFailureKind failureKind, std::string failureMessage)
      : kind(failureKind), message(std::move(failureMessage)) {}

  explicit operator bool() const { return kind != SubversionFailureKind::none; }

  SubversionFailureKind kind = SubversionFailureKind::none;
  /// What the library said, the causes in further lines.
  std::string message;
  /// The path or address that it is about, where that is known.
  std::string subject;
};
