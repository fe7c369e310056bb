#include "PlugInFolder.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <system_error>

namespace host {

namespace {

namespace fs = std::filesystem;

fs::path dataFolder() {
  const char* data = std::getenv("XDG_DATA_HOME");
  if (data != nullptr && fs::path(data).is_absolute()) return data;
  const char* home = std::getenv("HOME");
  return home != nullptr && fs::path(home).is_absolute() ? fs::path(home) / ".local/share" : fs::path();
}

/// Whether others can change what lies in the folder, or put another folder in its place.
bool mayOthersWrite(fs::path folder) {
  for (bool isOuter = false;; isOuter = true, folder = folder.parent_path()) {
    struct stat status {};
    if (::stat(folder.c_str(), &status) != 0) return true;
    bool isOurs = status.st_uid == ::geteuid() || (isOuter && status.st_uid == 0);
    // In a folder for everybody's temporary files each has his own.
    bool isShared = (status.st_mode & (S_IWGRP | S_IWOTH)) != 0 && !(isOuter && (status.st_mode & S_ISVTX) != 0);
    if (!isOurs || isShared) return true;
    if (folder == folder.parent_path()) return false;
  }
}

}  // namespace

PlugInFolder userPlugInFolder() {
  fs::path data = dataFolder();
  if (data.empty()) return {};
  std::error_code failure;
  fs::path folder = fs::canonical(data / "qrbsourcecontrol/plug-ins", failure);
  if (failure || !fs::is_directory(folder, failure)) return {};
  if (mayOthersWrite(folder)) {
    return {{}, folder.native() + " may be written by others, or a folder above it; no plug-in is taken from there."};
  }
  return {folder.native(), {}};
}

}  // namespace host
