#pragma once

#include <time.h>

#include <string>

#include "WorkingCopyLock.h"

/// The lock on a working copy that a request changes with git, whose own lock covers one command and not all of a
/// request: `commit` reads the staging area before it takes the lock, so that what another command stages in between is
/// lost.
///
/// Git removes its lock files when it is told to end, but not one that it is just making; so the guard removes those
/// that were made since, unless another git works there. What else is to be put back, the request adds as jobs.
class GitWorkingCopyLock {
 public:
  GitWorkingCopyLock(const std::string& folder, int hostConnection);

  qrb::Guard& guard() { return _lock.guard(); }
  /// When the lock was had, by the clock that files get their times from.
  const timespec& since() const { return _since; }

 private:
  qrb::WorkingCopyLock _lock;
  const timespec _since;
  const qrb::Guard::Standing _lockFiles;
};
