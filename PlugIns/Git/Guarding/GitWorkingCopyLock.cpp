#include "GitWorkingCopyLock.h"

#include "GitTidyingJob.h"

namespace {

timespec currentTime() {
  timespec now{};
  ::clock_gettime(CLOCK_REALTIME_COARSE, &now);
  return now;
}

}  // namespace

GitWorkingCopyLock::GitWorkingCopyLock(const std::string& folder, int hostConnection)
    : _lock(folder, hostConnection),
      _since(currentTime()),
      _lockFiles(_lock.guard().add(gitTidyingJob("lock-files", folder, _since))) {}
