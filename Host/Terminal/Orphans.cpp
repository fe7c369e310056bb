#include "Orphans.h"

#include <poll.h>
#include <sys/syscall.h>
#include <sys/types.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <system_error>
#include <vector>

#include "FileDescriptor.h"

namespace host {

namespace {

void reapEnded() {
  siginfo_t ended;
  do {
    ended.si_pid = 0;
  } while (::waitid(P_ALL, 0, &ended, WEXITED | WNOHANG) == 0 && ended.si_pid != 0);
}

// Only who calls this reaps children, so that a number stays the same child's.
std::vector<qrb::FileDescriptor> openOrphans() {
  std::vector<qrb::FileDescriptor> orphans;
  std::error_code failure;
  for (const auto& thread : std::filesystem::directory_iterator("/proc/self/task", failure)) {
    std::ifstream children(thread.path() / "children");
    for (pid_t child = 0; children >> child;) {
      if (::getsid(child) == child) continue;
      qrb::FileDescriptor descriptor(static_cast<int>(::syscall(SYS_pidfd_open, child, 0)));
      if (descriptor.valid()) orphans.push_back(std::move(descriptor));
    }
  }
  return orphans;
}

}  // namespace

void awaitOrphans(std::chrono::milliseconds limit) {
  auto end = std::chrono::steady_clock::now() + limit;
  for (;;) {
    reapEnded();
    std::vector<qrb::FileDescriptor> orphans = openOrphans();
    auto left = std::chrono::ceil<std::chrono::milliseconds>(end - std::chrono::steady_clock::now());
    if (orphans.empty() || left.count() <= 0) return;
    // One after the other: each has to end, and may leave children of its own.
    pollfd ending{orphans.front().get(), POLLIN, 0};
    ::poll(&ending, 1, static_cast<int>(left.count()));
  }
}

}  // namespace host
