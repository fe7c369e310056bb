#pragma once

#include <sys/types.h>

#include <functional>
#include <string>

#include "FileDescriptor.h"

/// Tidies up in a repository when this process is killed while it changes it, which is how requests are cancelled.
///
/// Git removes its lock files when it is told to end, but not one that it is just making; and it ends between two steps
/// that belong together. So another process stands by: a copy of this one, in the same process group, that waits for
/// the end of the object or of this process. In the latter case it waits for the end of whatever else is in the group,
/// removes the lock files that have been made since, and calls the repair. Where another git works in the folder, it
/// leaves lock files alone. Where no process can be made, nobody tidies up.
class GitGuardian {
 public:
  /// `folder` is the root of a working copy or a repository. The repair runs in the other process, where nothing of
  /// this one goes on: its threads and descriptors are not there.
  explicit GitGuardian(std::string folder, std::function<void()> repair = {}, int keptDescriptor = -1);
  ~GitGuardian();
  GitGuardian(const GitGuardian&) = delete;
  GitGuardian& operator=(const GitGuardian&) = delete;

 private:
  qrb::FileDescriptor _pipe;
  pid_t _process = -1;
};
