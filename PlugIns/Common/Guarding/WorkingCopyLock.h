#pragma once

#include <string>

#include "FileDescriptor.h"
#include "Guard.h"

namespace qrb {

/// Keeps other requests from changing a working copy for as long as the object lives, and has a guard clean up where
/// this process is killed meanwhile: what is to be done then, the request adds as jobs. The lock is held until they are
/// done.
///
/// Binds plug-ins only. Whoever has waited too long, or cannot wait, goes on without the lock.
class WorkingCopyLock {
 public:
  /// `folder` is the root of the working copy; `hostConnection` is as for ToolRunner.
  WorkingCopyLock(const std::string& folder, int hostConnection);

  Guard& guard() { return _guard; }

 private:
  const FileDescriptor _folder;
  Guard _guard;
};

}  // namespace qrb
