#include "Snapshot.h"

#include <sys/stat.h>

#include <algorithm>
#include <filesystem>

namespace qrb::hostile {
namespace {

namespace fs = std::filesystem;

std::string description(const fs::path& path) {
  struct stat entry {};
  if (::lstat(path.c_str(), &entry) != 0) return "gone";
  std::string text = std::to_string(entry.st_mode) + ' ' + std::to_string(entry.st_ino);
  // A folder changes its length and time with its entries, which are looked at themselves.
  if (S_ISDIR(entry.st_mode)) return text;
  for (auto value : {entry.st_size, entry.st_mtim.tv_sec, entry.st_mtim.tv_nsec}) {
    text += ' ' + std::to_string(value);
  }
  std::error_code error;
  if (S_ISLNK(entry.st_mode)) text += ' ' + fs::read_symlink(path, error).string();
  return text;
}

}  // namespace

Snapshot Snapshot::of(const std::string& folder, const std::vector<std::string>& except) {
  Snapshot snapshot;
  std::error_code error;
  fs::recursive_directory_iterator entry(folder, error);
  for (fs::recursive_directory_iterator end; !error && entry != end; entry.increment(error)) {
    std::string path = entry->path().lexically_relative(folder).string();
    if (std::ranges::find(except, path) != except.end()) {
      entry.disable_recursion_pending();
    } else {
      snapshot._entries[path] = description(entry->path());
    }
  }
  return snapshot;
}

std::vector<std::string> Snapshot::differencesTo(const Snapshot& later) const {
  std::vector<std::string> differences;
  for (const auto& [path, before] : _entries) {
    auto after = later._entries.find(path);
    if (after == later._entries.end()) {
      differences.push_back(path + " is gone");
    } else if (after->second != before) {
      differences.push_back(path + " was changed (" + before + " -> " + after->second + ")");
    }
  }
  for (const auto& [path, after] : later._entries) {
    if (!_entries.contains(path)) differences.push_back(path + " was made");
  }
  return differences;
}

}  // namespace qrb::hostile
