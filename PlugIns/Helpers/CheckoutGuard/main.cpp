// Sees to it that a new working copy appears whole or not at all: "qrb-checkout-guard <path>" makes an empty folder
// beside the path, prints its name and a zero byte, and waits. A "k" on standard input moves the folder to the path and
// is answered by "0" or the number of the error. The end of standard input, whatever it comes from, removes the folder
// with all it holds. So the plug-in that fills the folder may be killed at any moment, since this process is another.
// What a killed guard leaves behind is removed by the next one in the same folder: a lock tells that nobody uses it any
// more.

#include <dirent.h>
#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <stdlib.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

namespace {

namespace fs = std::filesystem;

constexpr std::string_view kPrefix = ".qrb-checkout-";

/// Whoever still writes there is about to end, and may make something new meanwhile.
void removeForGood(const fs::path& path) {
  constexpr int pauseInMilliseconds = 5;
  constexpr int mostAttempts = 2000;
  for (int attempt = 0; attempt < mostAttempts; ++attempt) {
    std::error_code error;
    fs::remove_all(path, error);
    struct stat info {};
    if (::lstat(path.c_str(), &info) != 0) return;
    ::poll(nullptr, 0, pauseInMilliseconds);
  }
}

/// The folder, locked for this process; -1 where another has it or it is gone.
int lockFolder(const fs::path& path) {
  const int descriptor = ::open(path.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
  if (descriptor < 0) return -1;
  struct stat opened {};
  struct stat named {};
  const bool isOurs = ::flock(descriptor, LOCK_EX | LOCK_NB) == 0 && ::fstat(descriptor, &opened) == 0 &&
                      ::lstat(path.c_str(), &named) == 0 && opened.st_ino == named.st_ino &&
                      opened.st_uid == ::geteuid();
  if (isOurs) return descriptor;
  ::close(descriptor);
  return -1;
}

void removeLeftovers(const fs::path& folder) {
  std::error_code error;
  for (fs::directory_iterator entry(folder, error), end; !error && entry != end; entry.increment(error)) {
    if (!entry->path().filename().native().starts_with(kPrefix)) continue;
    const int lock = lockFolder(entry->path());
    if (lock < 0) continue;
    removeForGood(entry->path());
    ::close(lock);
  }
}

/// Makes the folders that lead to a path and returns those that were missing, the innermost last.
std::vector<fs::path> makeFolders(const fs::path& folder, std::error_code& error) {
  std::vector<fs::path> missing;
  for (fs::path path = folder; !path.empty() && !fs::exists(path, error); path = path.parent_path()) {
    missing.insert(missing.begin(), path);
  }
  fs::create_directories(folder, error);
  return missing;
}

/// A new folder of ours, with the rights that the user gives to new folders.
fs::path makeFolder(const fs::path& parent) {
  for (int attempt = 0; attempt < 100; ++attempt) {
    char name[32];
    std::snprintf(name, sizeof name, "%s%08x", kPrefix.data(), arc4random());
    fs::path path = parent / name;
    if (::mkdir(path.c_str(), 0777) != 0) {
      if (errno == EEXIST) continue;
      return {};
    }
    // Lost where another guard took it for a leftover between its making and this.
    if (lockFolder(path) >= 0) return path;
  }
  errno = EEXIST;
  return {};
}

bool isToBeKept() {
  char byte = 0;
  ssize_t got;
  do {
    got = ::read(STDIN_FILENO, &byte, 1);
  } while (got < 0 && errno == EINTR);
  return got == 1 && byte == 'k';
}

void say(const std::string& text) {
  // Whoever hears nothing is gone, and its end is heard next.
  while (::write(STDOUT_FILENO, text.c_str(), text.size() + 1) < 0 && errno == EINTR) {
  }
}

void ignoreSignals() {
  for (const int signal : {SIGTERM, SIGHUP, SIGINT, SIGPIPE}) ::signal(signal, SIG_IGN);
}

}  // namespace

int main(int count, char** arguments) {
  if (count != 2 || arguments[1][0] != '/') {
    std::fputs("usage: qrb-checkout-guard <absolute path>\n", stderr);
    return 2;
  }
  ignoreSignals();
  const fs::path target = arguments[1];
  std::error_code error;
  const std::vector<fs::path> made = makeFolders(target.parent_path(), error);
  removeLeftovers(target.parent_path());
  const fs::path folder = error ? fs::path() : makeFolder(target.parent_path());
  if (folder.empty()) {
    std::fprintf(stderr, "No folder can be made in %s: %s\n", target.parent_path().c_str(),
                 error ? error.message().c_str() : std::generic_category().message(errno).c_str());
    return 1;
  }
  say(folder.string());
  if (isToBeKept()) {
    // A folder that is there and empty gives way, and nothing else does.
    if (::rename(folder.c_str(), target.c_str()) == 0) {
      say("0");
      return 0;
    }
    say(std::to_string(errno));
  }
  removeForGood(folder);
  for (auto path = made.rbegin(); path != made.rend(); ++path) fs::remove(*path, error);
  return 0;
}
