#include "ProcessTable.h"

#include <charconv>
#include <cstdio>
#include <filesystem>
#include <system_error>

#include "FileSystem.h"

namespace qrb {

namespace {

bool readEntry(const std::filesystem::path& folder, ProcessEntry& entry) {
  std::string line = readFile(folder / "stat", anySize).value_or("");
  // The name may itself hold brackets.
  std::size_t open = line.find('(');
  std::size_t close = line.rfind(')');
  if (open == std::string::npos || close == std::string::npos) return false;
  entry.name = line.substr(open + 1, close - open - 1);
  char state = '?';
  if (std::sscanf(line.c_str() + close + 1, " %c %*d %d", &state, &entry.group) != 2) return false;
  entry.isOver = state == 'Z' || state == 'X';
  return true;
}

}  // namespace

void forEachProcess(const std::function<bool(const ProcessEntry&)>& visit) {
  std::error_code error;
  for (std::filesystem::directory_iterator folder("/proc", error), end; !error && folder != end;
       folder.increment(error)) {
    std::string name = folder->path().filename().string();
    ProcessEntry entry;
    auto [stop, failure] = std::from_chars(name.data(), name.data() + name.size(), entry.id);
    bool isProcess = failure == std::errc() && stop == name.data() + name.size();
    if (isProcess && readEntry(folder->path(), entry) && !visit(entry)) return;
  }
}

bool isGroupRunning(pid_t group, pid_t besides) {
  auto looksRunning = [&] {
    bool result = false;
    forEachProcess([&](const ProcessEntry& entry) {
      result = entry.group == group && entry.id != besides && !entry.isOver;
      return !result;
    });
    return result;
  };
  // Twice, since a process that is made while the others are looked through may be missed.
  return looksRunning() || looksRunning();
}

}  // namespace qrb
