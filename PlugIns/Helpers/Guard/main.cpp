// Takes back what a request leaves that fails, is killed or loses its host: "qrb-guard working-copy <path>" claims the
// folder for a new working copy, tells so in one line, and waits for orders on standard input. The end of standard
// input, whatever it comes from, makes the guard remove what is in the folder, and the folders that it made itself, as
// soon as the processes at work there are gone. It leads a session of its own, so that what ends them does not end it.
//
// Answers: "claimed"; "occupied" where something is there already, which is then nobody's to remove; "refused <why>"
// where no folder can be had.
// Orders: "group <number>", the process group at work in the folder; "keep", which ends the guard.

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "ProcessTable.h"

namespace {

namespace fs = std::filesystem;
using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

/// Asks again, at growing intervals, until the answer is yes or the patience is over.
template <class Question>
bool becomesTrue(Clock::duration patience, Question&& question) {
  const auto end = Clock::now() + patience;
  for (auto pause = 1ms; !question(); pause = std::min(pause * 2, 20ms)) {
    if (Clock::now() > end) return false;
    std::this_thread::sleep_for(pause);
  }
  return true;
}

class Claim {
 public:
  enum class Outcome { claimed, occupied, refused };

  explicit Claim(fs::path folder) : _folder(std::move(folder)) {}

  /// Makes the folder and those that lead to it, or takes an empty one. Another guard's has to become free first.
  Outcome take() {
    constexpr int mostAttempts = 10;  // Another guard may remove the folders that lead here as they are made.
    for (int attempt = 0; attempt < mostAttempts; ++attempt) {
      std::error_code error;
      if (!makeFolders(_folder.parent_path(), error))
        return refuse("No folder can be made in " + _folder.parent_path().string() + ": " + error.message());
      const bool isNew = fs::create_directory(_folder, error);
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

  const std::string& reason() const { return _reason; }

  void giveUp() {
    // What has been put in the place of the folder meanwhile is somebody else's.
    if (_descriptor >= 0 && isThere()) {
      // A process that nobody saw start may go on for a moment.
      becomesTrue(2s, [this] { return isEmptied(); });
      std::error_code ignored;
      if (_isOurs) fs::remove(_folder, ignored);
    }
    removeMadeFolders();
  }

  /// Those that lead to a folder that was not claimed.
  void removeMadeFolders() {
    std::error_code ignored;
    for (auto path = _made.rbegin(); path != _made.rend(); ++path) fs::remove(*path, ignored);
  }

 private:
  Outcome refuse(std::string reason) {
    _reason = std::move(reason);
    return Outcome::refused;
  }

  bool makeFolders(const fs::path& folder, std::error_code& error) {
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

  bool isThere() const {
    struct stat opened {};
    struct stat named {};
    return ::fstat(_descriptor, &opened) == 0 && ::lstat(_folder.c_str(), &named) == 0 &&
           opened.st_ino == named.st_ino && opened.st_dev == named.st_dev;
  }

  bool isEmptied() const {
    std::error_code error;
    std::vector<fs::path> entries;
    for (fs::directory_iterator entry(_folder, error), end; !error && entry != end; entry.increment(error)) {
      entries.push_back(entry->path());
    }
    std::error_code ignored;
    for (const fs::path& entry : entries) fs::remove_all(entry, ignored);
    return !isThere() || fs::is_empty(_folder, ignored);
  }

  const fs::path _folder;
  std::string _reason;
  std::vector<fs::path> _made;
  int _descriptor = -1;
  bool _isOurs = false;
};

void say(const std::string& line) {
  // Whoever hears nothing is gone, and its end is heard next.
  const std::string text = line + "\n";
  while (::write(STDOUT_FILENO, text.data(), text.size()) < 0 && errno == EINTR) {
  }
}

/// The next order; none at the end of standard input.
std::optional<std::string> nextOrder() {
  std::string order;
  for (char byte = 0;;) {
    const ssize_t got = ::read(STDIN_FILENO, &byte, 1);
    if (got < 0 && errno == EINTR) continue;
    if (got <= 0) return std::nullopt;
    if (byte == '\n') return order;
    order.push_back(byte);
  }
}

/// Whoever started the group ends it; where that one is gone as well, it has lost what it talks to and is not waited
/// for without end.
void awaitEndOfGroup(pid_t group) {
  if (group > 1) becomesTrue(30s, [group] { return !qrb::isGroupRunning(group); });
}

}  // namespace

int main(int count, char** arguments) {
  if (count != 3 || arguments[1] != std::string_view("working-copy") || arguments[2][0] != '/') {
    std::fputs("usage: qrb-guard working-copy <absolute path>\n", stderr);
    return 2;
  }
  for (const int signal : {SIGTERM, SIGHUP, SIGINT, SIGPIPE}) ::signal(signal, SIG_IGN);
  Claim claim(arguments[2]);
  switch (claim.take()) {
    case Claim::Outcome::claimed:
      say("claimed");
      break;
    case Claim::Outcome::occupied:
      say("occupied");
      claim.removeMadeFolders();
      return 0;
    case Claim::Outcome::refused:
      claim.removeMadeFolders();
      say("refused " + claim.reason());
      return 1;
  }
  pid_t group = 0;
  for (std::optional<std::string> order; (order = nextOrder());) {
    constexpr std::string_view kGroup = "group ";
    if (*order == "keep") return 0;
    if (order->starts_with(kGroup))
      std::from_chars(order->data() + kGroup.size(), order->data() + order->size(), group);
  }
  awaitEndOfGroup(group);
  claim.giveUp();
  return 0;
}
