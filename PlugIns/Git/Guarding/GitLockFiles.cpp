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

void gitRemoveLockFiles(const std::string& root, const timespec& since) {
  for (const std::string& repository : gitRepositoryFolders(root)) {
    fs::path folder(repository);
    removeIn<fs::directory_iterator>(folder, since);
    removeIn<fs::recursive_directory_iterator>(folder / "refs", since);
    // Git begins some tidying by itself after a commit, with locks of its own.
    removeIn<fs::directory_iterator>(folder / "objects", since);
    removeIn<fs::recursive_directory_iterator>(folder / "objects/info", since);
  }
}
