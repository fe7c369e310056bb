#include "Claim.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <utility>

#include "Waiting.h"

namespace fs = std::filesystem;
using namespace std::chrono_literals;

Claim::Outcome Claim::take() {
  constexpr int mostAttempts = 10;  // Another guard may remove the folders that lead here as they are made.
  for (int attempt = 0; attempt < mostAttempts; ++attempt) {
    std::error_code error;
    if (!makeFolders(_folder.parent_path(), error))
      return refuse("No folder can be made in " + _folder.parent_path().string() + ": " + error.message());
    bool isNew = fs::create_directory(_folder, error);
    if (error == std::errc::no_such_file_or_directory) continue;
    std::error_code ignored;
    if (error && !fs::exists(fs::symlink_status(_folder, ignored)))
      return refuse(_folder.string() + ": " + error.message());
    _isOurs = isNew;
    _descriptor = ::open(_folder.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
    if (_descriptor < 0 && errno == ENOENT) continue;
    if (_descriptor < 0) return Outcome::occupied;
    // A file system without locks is none to do without a guard for.
    if (!becomesTrue(5s, [this] { return ::flock(_descriptor, LOCK_EX | LOCK_NB) == 0 || errno != EWOULDBLOCK; })) {
      return refuse("Another request is making a working copy there, or is removing one that it could not make.");
    }
    if (isThere()) return fs::is_empty(_folder, error) && !error ? Outcome::claimed : Outcome::occupied;
    ::close(_descriptor);
  }
  return refuse("The folders that lead to " + _folder.string() + " are removed as they are made.");
}

void Claim::giveUp() {
  // What has been put in the place of the folder meanwhile is somebody else's.
  if (_descriptor >= 0 && isThere()) {
    // A process that nobody saw start may go on for a moment.
    becomesTrue(2s, [this] { return isEmptied(); });
    std::error_code ignored;
    if (_isOurs) fs::remove(_folder, ignored);
  }
  removeMadeFolders();
}

void Claim::removeMadeFolders() {
  std::error_code ignored;
  for (auto path = _made.rbegin(); path != _made.rend(); ++path) fs::remove(*path, ignored);
}

Claim::Outcome Claim::refuse(std::string reason) {
  _reason = std::move(reason);
  return Outcome::refused;
}

bool Claim::makeFolders(const fs::path& folder, std::error_code& error) {
  std::vector<fs::path> missing;
  std::error_code ignored;
  for (fs::path path = folder; path.has_relative_path() && !fs::exists(path, ignored); path = path.parent_path()) {
    missing.push_back(path);
  }
  for (auto path = missing.rbegin(); path != missing.rend(); ++path) {
    if (fs::create_directory(*path, error)) _made.push_back(*path);
    if (error) return false;
  }
  return true;
}

bool Claim::isThere() const {
  struct stat opened {};
  struct stat named {};
  return ::fstat(_descriptor, &opened) == 0 && ::lstat(_folder.c_str(), &named) == 0 && opened.st_ino == named.st_ino &&
         opened.st_dev == named.st_dev;
}

bool Claim::isEmptied() const {
  std::error_code error;
  std::vector<fs::path> entries;
  for (fs::directory_iterator entry(_folder, error), end; !error && entry != end; entry.increment(error)) {
    entries.push_back(entry->path());
  }
  std::error_code ignored;
  for (const fs::path& entry : entries) fs::remove_all(entry, ignored);
  return !isThere() || fs::is_empty(_folder, ignored);
}
