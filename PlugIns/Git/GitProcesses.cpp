#include "GitProcesses.h"

#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <charconv>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <string_view>

namespace {

namespace fs = std::filesystem;
using namespace std::chrono_literals;

struct Entry {
  pid_t id = 0;
  std::string name;
  char state = '?';
  pid_t group = 0;
};

bool readEntry(const fs::path& folder, Entry& entry) {
  std::ifstream file(folder / "stat");
  std::string line;
  std::getline(file, line, '\0');
  // The name may itself hold brackets.
  const std::size_t open = line.find('(');
  const std::size_t close = line.rfind(')');
  if (open == std::string::npos || close == std::string::npos) return false;
  entry.name = line.substr(open + 1, close - open - 1);
  return std::sscanf(line.c_str() + close + 1, " %c %*d %d", &entry.state, &entry.group) == 2;
}

/// Calls `visit(entry, folder in /proc)` until it answers false.
template <class Visit>
void forEachProcess(Visit&& visit) {
  std::error_code error;
  for (fs::directory_iterator folder("/proc", error), end; !error && folder != end; folder.increment(error)) {
    const std::string name = folder->path().filename().string();
    Entry entry;
    const auto [stop, failure] = std::from_chars(name.data(), name.data() + name.size(), entry.id);
    const bool isProcess = failure == std::errc() && stop == name.data() + name.size();
    if (isProcess && readEntry(folder->path(), entry) && !visit(entry, folder->path())) return;
  }
}

bool isAlone(pid_t group, pid_t process) {
  bool result = true;
  forEachProcess([&](const Entry& entry, const fs::path&) {
    result = entry.group != group || entry.id == process || entry.state == 'Z';
    return result;
  });
  return result;
}

}  // namespace

bool gitWaitForGroup(pid_t group, pid_t process) {
  // The host kills what is left of the group long before.
  const auto end = std::chrono::steady_clock::now() + 30s;
  // Twice, since a process that is made while the others are looked through may be missed.
  for (auto pause = 1ms; !isAlone(group, process) || !isAlone(group, process); pause = std::min(pause * 2, 20ms)) {
    if (std::chrono::steady_clock::now() > end) return false;
    ::poll(nullptr, 0, static_cast<int>(pause.count()));
  }
  return true;
}

bool gitWorksIn(const std::string& folder) {
  std::error_code error;
  const std::string root = fs::canonical(folder, error).string();
  bool result = false;
  forEachProcess([&](const Entry& entry, const fs::path& process) {
    if (!entry.name.starts_with("git") || entry.state == 'Z') return true;
    std::error_code unreadable;
    const std::string place = fs::read_symlink(process / "cwd", unreadable).string();
    result = place == root || place.starts_with(root + "/");
    return !result;
  });
  return result;
}
