#include "GitRepositoryTrust.h"

#include <dirent.h>
#include <fcntl.h>
#include <limits.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <memory>
#include <optional>
#include <span>

#include "AsciiCase.h"
#include "FileDescriptor.h"
#include "FileSystem.h"
#include "GitNames.h"

namespace {

using qrb::FileDescriptor;

bool holds(std::string_view text, std::string_view word) {
  auto isSame = [](char a, char b) { return qrb::asciiLowerCase(a) == b; };
  return std::search(text.begin(), text.end(), word.begin(), word.end(), isSame) != text.end();
}

/// How a submodule's kind is written in a staging area, wherever else those bytes may occur. Looks for the rarest.
bool holdsSubmoduleKind(std::string_view bytes) {
  constexpr std::string_view kind("\0\0\xe0\0", 4);
  constexpr std::size_t rarest = 2;
  for (std::size_t place = bytes.find(kind[rarest]); place != std::string_view::npos;
       place = bytes.find(kind[rarest], place + 1)) {
    if (place >= rarest && bytes.substr(place - rarest, kind.size()) == kind) return true;
  }
  return false;
}

/// One look at a repository. Each step says whether what it met is of the plain form.
class Look {
 public:
  explicit Look(const std::string& folder) : _path(folder) {}

  GitRepositoryTrust take() {
    GitRepositoryTrust trust;
    FileDescriptor root(::open(_path.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC));
    if (root.valid() && findFolders(root.get()) && hasPlainHead() && hasStore() && readConfigurations()) {
      trust.isPlain = true;
      trust.mayNamePrograms = gitMayNamePrograms(_configuration);
      trust.mayMoveWorkingCopy = gitMayMoveWorkingCopy(_configuration);
      trust.mayHoldSubmodules = mayHoldSubmodules();
      trust.mayRunPrograms = gitMayRunPrograms(_configuration);
      trust.ownFolder = pathOf(own());
      trust.commonFolder = pathOf(common());
    }
    findObstacle(own(), "packed-refs");
    findObstacle(common(), "packed-refs");
    for (const char* name : {"HEAD", "MERGE_HEAD", "commondir"}) findLength(own(), name);
    findLink(common(), "refs/replace");
    trust.obstacle = _obstacle;
    trust.obstacleFault = _obstacleFault;
    return trust;
  }

 private:
  enum class Kind : unsigned char { absent, file, folder, other };

  int own() const { return _own.get(); }
  int common() const { return _common.valid() ? _common.get() : _own.get(); }

  /// What a name leads to, links resolved.
  Kind kindOf(int folder, const char* name) {
    struct stat information {};
    if (::fstatat(folder, name, &information, 0) != 0) {
      // A link that leads nowhere is there all the same.
      bool isAbsent = errno == ENOENT && ::fstatat(folder, name, &information, AT_SYMLINK_NOFOLLOW) != 0;
      return isAbsent ? Kind::absent : Kind::other;
    }
    if (S_ISREG(information.st_mode)) return Kind::file;
    if (S_ISDIR(information.st_mode)) return Kind::folder;
    report(folder, name, "is a pipe or a device, where git expects a file");
    return Kind::other;
  }

  static std::string pathOf(int folder) {
    std::array<char, PATH_MAX> path{};
    ssize_t length = ::readlink(("/proc/self/fd/" + std::to_string(folder)).c_str(), path.data(), path.size());
    return {path.data(), length > 0 ? static_cast<std::size_t>(length) : 0};
  }

  void report(int folder, const char* name, const char* fault) {
    if (!_obstacle.empty()) return;
    _obstacle = pathOf(folder) + "/" + name;
    _obstacleFault = fault;
  }

  /// Git reads some files of a few lines whole, or byte by byte, however long they are.
  void findLength(int folder, const char* name) {
    if (folder < 0 || kindOf(folder, name) != Kind::file) return;
    struct stat information {};
    if (::fstatat(folder, name, &information, 0) == 0 && information.st_size > static_cast<off_t>(gitTrustedSize)) {
      report(folder, name, "is longer than any such file of git's");
    }
  }

  /// Git looks through every folder below this one, with each command. No tool makes a link of it; one could lead to
  /// where there is no end of folders.
  void findLink(int folder, const char* name) {
    struct stat information {};
    bool isThere = folder >= 0 && ::fstatat(folder, name, &information, AT_SYMLINK_NOFOLLOW) == 0;
    if (isThere && S_ISLNK(information.st_mode))
      report(folder, name, "is a link, where git expects a folder of its own");
  }

  void findObstacle(int folder, const char* name) {
    if (folder >= 0) kindOf(folder, name);
  }

  /// The text of a file without zero bytes; absent where it cannot be had whole.
  std::optional<std::string> read(int folder, const char* name, std::size_t limit) {
    if (kindOf(folder, name) != Kind::file) return std::nullopt;
    auto text = qrb::readFileIn(folder, name, limit);
    return text && text->find('\0') == std::string::npos ? text : std::nullopt;
  }

  /// A file of one line, with or without its end.
  std::optional<std::string> readLine(int folder, const char* name) {
    constexpr std::size_t longest = 4096;
    auto text = read(folder, name, longest);
    if (text && text->ends_with('\n')) text->pop_back();
    bool isLine = text && !text->empty() && text->find_first_of("\r\n") == std::string::npos;
    return isLine ? text : std::nullopt;
  }

  static FileDescriptor openFolder(int from, const char* path) {
    return FileDescriptor(::openat(from, path, O_PATH | O_DIRECTORY | O_CLOEXEC));
  }

  /// The repository's folder and the one that all its working copies share.
  bool findFolders(int root) {
    switch (kindOf(root, ".git")) {
      case Kind::absent:
        // A bare repository, if it is any.
        _own = openFolder(root, ".");
        break;
      case Kind::folder:
        _own = openFolder(root, ".git");
        break;
      case Kind::file: {
        constexpr std::string_view label = "gitdir: ";
        auto line = readLine(root, ".git");
        if (!line || !line->starts_with(label) || line->size() == label.size()) return false;
        _own = openFolder(root, line->c_str() + label.size());
        break;
      }
      case Kind::other:
        return false;
    }
    if (!_own.valid()) return false;
    if (kindOf(own(), "commondir") == Kind::absent) return true;
    auto line = readLine(own(), "commondir");
    if (line) _common = openFolder(own(), line->c_str());
    return _common.valid();
  }

  bool hasPlainHead() {
    struct stat information {};
    if (::fstatat(own(), "HEAD", &information, AT_SYMLINK_NOFOLLOW) != 0) return false;
    auto line = readLine(own(), "HEAD");
    return S_ISREG(information.st_mode) && line && (line->starts_with("ref: refs/") || gitIsObjectName(*line));
  }

  bool hasStore() {
    for (const char* name : {"objects", "refs"}) {
      if (kindOf(common(), name) != Kind::folder || ::faccessat(common(), name, X_OK, 0) != 0) return false;
    }
    return true;
  }

  bool readConfigurations() {
    std::pair<int, const char*> files[] = {
        {common(), "config"}, {common(), "config.worktree"}, {own(), "config"}, {own(), "config.worktree"}};
    for (const auto& [folder, name] : std::span(files).first(_common.valid() ? 4 : 2)) {
      if (kindOf(folder, name) == Kind::absent) continue;
      auto text = read(folder, name, gitTrustedSize);
      if (!text) return false;
      _configuration.append(*text).push_back('\n');
    }
    return true;
  }

  bool mayHoldSubmodules() {
    FileDescriptor listed(::openat(own(), ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    std::unique_ptr<DIR, int (*)(DIR*)> folder(::fdopendir(::dup(listed.get())), ::closedir);
    if (!folder) return true;
    while (const dirent* entry = ::readdir(folder.get())) {
      std::string_view name = entry->d_name;
      if (name != "index" && !name.starts_with("sharedindex.")) continue;
      if (fileHoldsSubmoduleKind(entry->d_name)) return true;
    }
    return false;
  }

  /// A staging area has hundreds of bytes for each file, and every look at the working copy waits for this.
  bool fileHoldsSubmoduleKind(const char* name) {
    constexpr std::size_t pieceSize = std::size_t{256} << 10;
    constexpr std::size_t overlap = 3;
    if (kindOf(own(), name) != Kind::file) return true;
    FileDescriptor file(::openat(own(), name, O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
    if (!file.valid()) return true;
    auto bytes = std::make_unique_for_overwrite<char[]>(overlap + pieceSize);
    std::size_t kept = 0;
    for (;;) {
      ssize_t got = ::read(file.get(), bytes.get() + kept, pieceSize);
      if (got < 0 && errno == EINTR) continue;
      if (got <= 0) return got < 0;
      std::string_view piece(bytes.get(), kept + static_cast<std::size_t>(got));
      if (holdsSubmoduleKind(piece)) return true;
      kept = std::min(overlap, piece.size());
      std::memmove(bytes.get(), piece.data() + piece.size() - kept, kept);
    }
  }

  const std::string _path;
  FileDescriptor _own;
  /// Invalid where it is the repository's own folder.
  FileDescriptor _common;
  std::string _configuration;
  std::string _obstacle;
  std::string _obstacleFault;
};

}  // namespace

GitRepositoryTrust gitTrust(const std::string& folder) {
  return Look(folder).take();
}

bool gitMayNamePrograms(std::string_view configuration) {
  return gitMayNameFilters(configuration) || holds(configuration, "promisor") || holds(configuration, "partialclone");
}

bool gitMayRunPrograms(std::string_view configuration) {
  return gitMayNamePrograms(configuration) || holds(configuration, "hookspath") || holds(configuration, "driver") ||
         holds(configuration, "sign") || holds(configuration, "gpg");
}

bool gitMayNameFilters(std::string_view configuration) {
  return holds(configuration, "filter") || gitIncludesFiles(configuration);
}

bool gitIncludesFiles(std::string_view configuration) {
  return holds(configuration, "include");
}

bool gitMayMoveWorkingCopy(std::string_view configuration) {
  return holds(configuration, "worktree") || gitIncludesFiles(configuration);
}
