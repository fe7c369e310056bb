#pragma once

#include <time.h>

#include <string>

#include "FileDescriptor.h"
#include "Guard.h"

/// Keeps other requests from changing a working copy, for as long as the object lives, and has a guard clean up where
/// this process is killed meanwhile. Git's own lock covers one command and not all of a request: `commit` reads the
/// staging area before it takes the lock, so that what another command stages in between is lost.
///
/// Git removes its lock files when it is told to end, but not one that it is just making; so the guard removes those
/// that were made since, unless another git works there. What else is to be put back, the request adds as jobs.
///
/// Binds plug-ins only. Whoever has waited too long, or cannot wait, goes on without the lock.
class GitWorkingCopyLock {
 public:
  /// `folder` is the root of the working copy; `hostConnection` is as for ToolRunner.
  GitWorkingCopyLock(const std::string& folder, int hostConnection);

  qrb::Guard& guard() { return _guard; }
  /// When the lock was had, by the clock that files get their times from.
  const timespec& since() const { return _since; }

 private:
  const qrb::FileDescriptor _folder;
  const timespec _since;
  qrb::Guard _guard;
  const qrb::Guard::Standing _lockFiles;
};
