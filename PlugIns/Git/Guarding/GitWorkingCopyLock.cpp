#include "GitWorkingCopyLock.h"

#include <fcntl.h>
#include <sys/file.h>

#include <cerrno>

#include "GitLockWait.h"
#include "GitTidyingJob.h"

namespace {

qrb::FileDescriptor lockFolder(const std::string& path, int hostConnection) {
  qrb::FileDescriptor folder(::open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  constexpr std::chrono::seconds patience{5};
  GitLockWait wait(patience, hostConnection);
  while (folder.valid() && ::flock(folder.get(), LOCK_EX | LOCK_NB) != 0 && errno == EWOULDBLOCK && wait.wait()) {
  }
  return folder;
}

timespec currentTime() {
  timespec now{};
  ::clock_gettime(CLOCK_REALTIME_COARSE, &now);
  return now;
}

}  // namespace

GitWorkingCopyLock::GitWorkingCopyLock(const std::string& folder, int hostConnection)
    : _folder(lockFolder(folder, hostConnection)),
      _since(currentTime()),
      _guard(_folder.get()),
      _lockFiles(_guard.add(gitTidyingJob("lock-files", folder, _since))) {}
