#include "FileSystem.h"

#include <fcntl.h>
#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <vector>

namespace qrb {

namespace {

bool writeAll(int file, std::string_view bytes) {
  while (!bytes.empty()) {
    ssize_t written = ::write(file, bytes.data(), bytes.size());
    if (written < 0 && errno != EINTR) return false;
    if (written > 0) bytes.remove_prefix(static_cast<std::size_t>(written));
  }
  return true;
}

}  // namespace

std::string homeDirectory() {
  std::string home;
  if (const char* chosen = std::getenv("HOME"); chosen != nullptr && chosen[0] == '/') {
    home = chosen;
  } else {
    std::vector<char> buffer(16384);
    passwd entry;
    passwd* found = nullptr;
    if (::getpwuid_r(::getuid(), &entry, buffer.data(), buffer.size(), &found) == 0 && found != nullptr) {
      home = found->pw_dir;
    }
  }
  while (home.size() > 1 && home.back() == '/') home.pop_back();
  return home;
}

bool makePrivateDirectory(const std::string& path) {
  std::error_code error;
  std::filesystem::create_directories(std::filesystem::path(path).parent_path(), error);
  if (error) {
    errno = error.value();
    return false;
  }
  return ::mkdir(path.c_str(), S_IRWXU) == 0;
}

bool writePrivateFile(const std::string& path, std::string_view bytes) {
  int file = ::open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC | O_NOFOLLOW, S_IRUSR | S_IWUSR);
  if (file < 0) return false;
  bool complete = ::fchmod(file, S_IRUSR | S_IWUSR) == 0 && writeAll(file, bytes);
  int reason = errno;
  if (::close(file) != 0 && complete) {
    reason = errno;
    complete = false;
  }
  if (!complete) {
    ::unlink(path.c_str());
    errno = reason;
  }
  return complete;
}

}  // namespace qrb
