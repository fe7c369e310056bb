#include "FileSystem.h"

#include <fcntl.h>
#include <pwd.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <vector>

namespace qrb {

namespace {

// Closes the file; what was written to a file that goes wrong here or before is removed when it was new.
bool finishWriting(int file, bool complete, const std::string& path, bool isNew) {
  int reason = errno;
  if (::close(file) != 0 && complete) {
    reason = errno;
    complete = false;
  }
  if (complete) return true;
  if (isNew) ::unlink(path.c_str());
  errno = reason;
  return false;
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
  bool complete = ::fchmod(file, S_IRUSR | S_IWUSR) == 0 && writeFully(file, bytes);
  return finishWriting(file, complete, path, true);
}

bool overwriteFile(const std::string& path, std::string_view bytes, FileAccess access) {
  bool isPrivate = access == FileAccess::userOnly;
  constexpr mode_t userOnly = S_IRUSR | S_IWUSR;
  mode_t mode = isPrivate ? userOnly : userOnly | S_IRGRP | S_IWGRP | S_IROTH | S_IWOTH;
  int file = ::open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, mode);
  bool isNew = file >= 0;
  // It is emptied only once nobody else can open it. Opening does not wait, should the name be that of a pipe.
  if (!isNew && errno == EEXIST) file = ::open(path.c_str(), O_WRONLY | O_NONBLOCK | O_CLOEXEC);
  if (file < 0) return false;
  bool complete = (!isPrivate || ::fchmod(file, userOnly) == 0) && ::ftruncate(file, 0) == 0 && writeFully(file, bytes);
  return finishWriting(file, complete, path, isNew);
}

std::optional<std::string> readFile(const std::string& path, std::size_t limit, ReadableKind kind) {
  return readFileIn(AT_FDCWD, path.c_str(), limit, kind);
}

std::optional<std::string> readFileIn(int folder, const char* path, std::size_t limit, ReadableKind kind) {
  int flags = O_RDONLY | O_NOCTTY | O_CLOEXEC;
  if (kind == ReadableKind::plainFileItself) flags |= O_NOFOLLOW;
  // Without this flag, opening a pipe waits for somebody to write.
  if (kind != ReadableKind::anything) flags |= O_NONBLOCK;
  FileDescriptor file(::openat(folder, path, flags));
  if (!file.valid()) return std::nullopt;
  struct stat status;
  if (::fstat(file.get(), &status) != 0) return std::nullopt;
  if (kind != ReadableKind::anything && !S_ISREG(status.st_mode)) {
    errno = S_ISDIR(status.st_mode) ? EISDIR : EINVAL;
    return std::nullopt;
  }
  return readToEnd(file.get(), limit);
}

std::optional<std::string> readToEnd(int descriptor, std::size_t limit) {
  // A size may be out of date as soon as it is known, so the bytes are counted as they come.
  std::string bytes;
  std::array<char, 65536> piece;
  for (;;) {
    ssize_t count = ::read(descriptor, piece.data(), piece.size());
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) return std::nullopt;
    if (count == 0) return bytes;
    bytes.append(piece.data(), static_cast<std::size_t>(count));
    if (bytes.size() > limit) {
      errno = EFBIG;
      return std::nullopt;
    }
  }
}

FileDescriptor holdInMemory(std::string_view bytes) {
  FileDescriptor memory(::memfd_create("bytes", MFD_CLOEXEC));
  if (!memory.valid()) return memory;
  // Closing keeps errno.
  if (!writeFully(memory.get(), bytes) || ::lseek(memory.get(), 0, SEEK_SET) != 0) memory.reset();
  return memory;
}

}  // namespace qrb
