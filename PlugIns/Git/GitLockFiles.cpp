#include "GitLockFiles.h"

#include <sys/stat.h>

#include <filesystem>
#include <utility>

#include "GitWorkingCopyProbe.h"

namespace {

namespace fs = std::filesystem;

bool isLock(const fs::path& file, const timespec& since) {
  if (file.extension() != ".lock") return false;
  struct stat info {};
  if (::lstat(file.c_str(), &info) != 0 || !S_ISREG(info.st_mode)) return false;
  return std::pair(info.st_mtim.tv_sec, info.st_mtim.tv_nsec) >= std::pair(since.tv_sec, since.tv_nsec);
}

template <class Iterator>
void removeIn(const fs::path& folder, const timespec& since) {
  std::error_code error;
  for (Iterator entry(folder, error), end; !error && entry != end; entry.increment(error)) {
    std::error_code ignored;
    if (isLock(entry->path(), since)) fs::remove(entry->path(), ignored);
  }
}

}  // namespace

void gitRemoveLockFiles(const std::string& folder, const timespec& since) {
  for (const std::string& repository : gitRepositoryFolders(folder)) {
    removeIn<fs::directory_iterator>(repository, since);
    removeIn<fs::recursive_directory_iterator>(fs::path(repository) / "refs", since);
  }
}
