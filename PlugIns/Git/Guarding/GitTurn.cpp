#include "GitTurn.h"

#include <fcntl.h>
#include <sys/file.h>

#include <cerrno>

#include "GitLockWait.h"

GitTurn::GitTurn(const std::string& folder, int hostConnection)
    : _folder(::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC)) {
  constexpr std::chrono::seconds patience{5};
  GitLockWait wait(patience, hostConnection);
  while (_folder.valid() && ::flock(_folder.get(), LOCK_EX | LOCK_NB) != 0 && errno == EWOULDBLOCK && wait.wait()) {
  }
}
