#include "GitProcesses.h"

#include <poll.h>

#include <algorithm>
#include <chrono>
#include <filesystem>

#include "ProcessTable.h"

namespace {

namespace fs = std::filesystem;
using namespace std::chrono_literals;

}  // namespace

bool gitWaitForGroup(pid_t group, pid_t process) {
  // The host kills what is left of the group long before.
  const auto end = std::chrono::steady_clock::now() + 30s;
  for (auto pause = 1ms; qrb::isGroupRunning(group, process); pause = std::min(pause * 2, 20ms)) {
    if (std::chrono::steady_clock::now() > end) return false;
    ::poll(nullptr, 0, static_cast<int>(pause.count()));
  }
  return true;
}

bool gitWorksIn(const std::string& folder) {
  std::error_code error;
  const std::string root = fs::canonical(folder, error).string();
  bool result = false;
  qrb::forEachProcess([&](const qrb::ProcessEntry& entry) {
    if (!entry.name.starts_with("git") || entry.isOver) return true;
    std::error_code unreadable;
    const std::string place =
        fs::read_symlink(fs::path("/proc") / std::to_string(entry.id) / "cwd", unreadable).string();
    result = place == root || place.starts_with(root + "/");
    return !result;
  });
  return result;
}
