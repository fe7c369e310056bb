#include "WorkingCopyLock.h"

#include <fcntl.h>
#include <sys/file.h>

#include <cerrno>

#include "LockWait.h"

namespace qrb {
namespace {

FileDescriptor lockFolder(const std::string& path, int hostConnection) {
  FileDescriptor folder(::open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  constexpr std::chrono::seconds patience{5};
  LockWait wait(patience, hostConnection);
  while (folder.valid() && ::flock(folder.get(), LOCK_EX | LOCK_NB) != 0 && errno == EWOULDBLOCK && wait.wait()) {
  }
  return folder;
}

}  // namespace

WorkingCopyLock::WorkingCopyLock(const std::string& folder, int hostConnection)
    : _folder(lockFolder(folder, hostConnection)), _guard(_folder.get()) {}

}  // namespace qrb
