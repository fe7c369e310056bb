#include "GitProcesses.h"

#include <filesystem>

#include "ProcessTable.h"

namespace fs = std::filesystem;

bool gitWorksIn(const std::string& folder) {
  std::error_code error;
  std::string root = fs::canonical(folder, error).string();
  bool result = false;
  qrb::forEachProcess([&](const qrb::ProcessEntry& entry) {
    if (!entry.name.starts_with("git") || entry.isOver) return true;
    std::error_code unreadable;
    std::string place = fs::read_symlink(fs::path("/proc") / std::to_string(entry.id) / "cwd", unreadable).string();
    result = place == root || place.starts_with(root + "/");
    return !result;
  });
  return result;
}
