#include "GitHookOutput.h"

#include <unistd.h>

#include <cerrno>

bool gitHookOutput(std::string_view bytes) {
  while (!bytes.empty()) {
    const ssize_t written = ::write(STDERR_FILENO, bytes.data(), bytes.size());
    if (written < 0 && errno == EINTR) continue;
    // Nobody listens, which is no reason to stop a commit.
    if (written <= 0) break;
    bytes.remove_prefix(static_cast<std::size_t>(written));
  }
  return true;
}
