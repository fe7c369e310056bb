#include "FolderWalk.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <climits>
#include <condition_variable>
#include <cstddef>
#include <deque>
#include <functional>
#include <iterator>
#include <memory>
#include <mutex>
#include <string_view>
#include <system_error>
#include <thread>

#include "FileDescriptor.h"

namespace {

// Folders are read in large pieces: the calls cost more than the copying.
constexpr std::size_t kReadSize = 128 * 1024;
// A folder stays open while those below it are walked, so that they need no lookup of the whole path. Deeper ones are
// opened by their paths, since descriptors are few.
constexpr std::size_t kMostOpenFolders = 64;
constexpr unsigned kMostThreads = 4;

// Folders that wait for a walker, and how many walkers have nothing to do.
class WaitingFolders {
 public:
  WaitingFolders(std::string root, unsigned walkers) : _idle(walkers) { _paths.push_back(std::move(root)); }

  // Whether a walker would be glad of work; looked at often, so without the lock.
  bool wanted() const { return _idle.load(std::memory_order_relaxed) > 0; }

  void add(std::vector<std::string> paths) {
    std::lock_guard lock(_mutex);
    for (std::string& path : paths) _paths.push_back(std::move(path));
    _changed.notify_all();
  }

  // Until every walker is at an end there may be more. `walker` counts itself idle before and between its folders.
  bool take(std::string& path, unsigned walkers) {
    std::unique_lock lock(_mutex);
    _changed.wait(lock, [&] { return !_paths.empty() || _idle == walkers; });
    if (_paths.empty()) return false;
    path = std::move(_paths.front());
    _paths.pop_front();
    --_idle;
    return true;
  }
  void done() {
    std::lock_guard lock(_mutex);
    ++_idle;
    _changed.notify_all();
  }

 private:
  std::mutex _mutex;
  std::condition_variable _changed;
  std::deque<std::string> _paths;
  std::atomic<unsigned> _idle;
};

class Walker {
 public:
  Walker(const std::set<std::string>& names, WaitingFolders& waiting)
      : _names(names.begin(), names.end()), _waiting(waiting), _buffer(std::make_unique<char[]>(kReadSize)) {}

  std::vector<std::string> found;

  // `follow` for the folder that the caller named himself.
  void walk(std::string path, bool follow) {
    _path = std::move(path);
    enter(::open(_path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC | (follow ? 0 : O_NOFOLLOW)));
    while (!_frames.empty()) {
      if (_waiting.wanted()) share();
      Frame& frame = _frames.back();
      _path.resize(frame.pathLength);
      if (frame.next == frame.folders.size()) {
        _frames.pop_back();
        continue;
      }
      const char* name = frame.folders.data() + frame.next;
      frame.next += std::string_view(name).size() + 1;
      if (_path.back() != '/') _path += '/';
      _path += name;
      constexpr int flags = O_RDONLY | O_DIRECTORY | O_CLOEXEC | O_NOFOLLOW;
      enter(frame.folder.valid() ? ::openat(frame.folder.get(), name, flags) : ::open(_path.c_str(), flags));
    }
  }

 private:
  struct Frame {
    qrb::FileDescriptor folder;
    std::size_t pathLength;
    // The names of the folders in it, each ended by a zero byte, and where the next to be walked begins.
    std::string folders;
    std::size_t next = 0;
  };

  // Reads the folder at _path.
  void enter(int descriptor) {
    if (descriptor < 0) return;
    Frame frame{qrb::FileDescriptor(descriptor), _path.size(), {}};
    bool holds = false;
    ssize_t count;
    while ((count = ::getdents64(descriptor, _buffer.get(), kReadSize)) > 0) {
      for (ssize_t offset = 0; offset < count;) {
        const auto* entry = reinterpret_cast<const dirent64*>(_buffer.get() + offset);
        offset += entry->d_reclen;
        holds = take(*entry, frame) || holds;
      }
    }
    if (holds) found.push_back(_path);
    if (frame.folders.empty()) return;
    if (_frames.size() >= kMostOpenFolders) frame.folder = {};
    _frames.push_back(std::move(frame));
  }

  // Whether the entry is what is looked for; a folder that is not is kept for later.
  bool take(const dirent64& entry, Frame& frame) const {
    std::string_view name = entry.d_name;
    for (std::string_view wanted : _names) {
      if (name == wanted) return true;
    }
    // Some file systems do not tell what an entry is; opening it will.
    if (entry.d_type != DT_DIR && entry.d_type != DT_UNKNOWN) return false;
    if (name != "." && name != "..") frame.folders.append(name.data(), name.size() + 1);
    return false;
  }

  // Gives half of what is left nearest to the root to others: there the most is below each folder.
  void share() {
    for (Frame& frame : _frames) {
      std::string_view left = std::string_view(frame.folders).substr(frame.next);
      auto folders = static_cast<std::size_t>(std::count(left.begin(), left.end(), '\0'));
      if (folders < 2) continue;
      std::string prefix = _path.substr(0, frame.pathLength);
      if (prefix.back() != '/') prefix += '/';
      if (prefix.size() + NAME_MAX >= PATH_MAX) return;  // reachable only from the open folder
      std::vector<std::string> given;
      while (given.size() < folders / 2) {
        std::size_t begin = frame.folders.rfind('\0', frame.folders.size() - 2) + 1;
        given.push_back(prefix + (frame.folders.c_str() + begin));
        frame.folders.resize(begin);
      }
      return _waiting.add(std::move(given));
    }
  }

  const std::vector<std::string> _names;
  WaitingFolders& _waiting;
  const std::unique_ptr<char[]> _buffer;
  std::string _path;
  std::vector<Frame> _frames;
};

}  // namespace

std::vector<std::string> findFoldersHolding(const std::set<std::string>& names, const std::string& root) {
  if (names.empty() || root.empty()) return {};
  unsigned count = std::clamp(std::thread::hardware_concurrency(), 1u, kMostThreads);
  WaitingFolders waiting(root, count);
  std::deque<Walker> walkers;
  for (unsigned number = 0; number < count; ++number) walkers.emplace_back(names, waiting);
  auto work = [&](Walker& walker) {
    for (std::string path; waiting.take(path, count); waiting.done()) walker.walk(path, path == root);
  };
  {
    std::vector<std::jthread> threads;
    try {
      for (unsigned number = 1; number < count; ++number) threads.emplace_back(work, std::ref(walkers[number]));
    } catch (const std::system_error&) {
      // The system has no thread to give: those there are do all of it.
    }
    work(walkers.front());
  }
  std::vector<std::string> found;
  for (Walker& walker : walkers) {
    std::move(walker.found.begin(), walker.found.end(), std::back_inserter(found));
  }
  std::sort(found.begin(), found.end());
  return found;
}

std::vector<std::string> findFoldersAboveHolding(const std::set<std::string>& names, const std::string& path) {
  std::vector<std::string> found;
  std::string folder = path;
  while (folder.size() > 1) {
    folder.resize(std::max<std::size_t>(folder.rfind('/'), 1));
    qrb::FileDescriptor open(::open(folder.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC));
    bool holds = open.valid() && std::any_of(names.begin(), names.end(), [&](const std::string& name) {
                   struct stat info {};
                   return ::fstatat(open.get(), name.c_str(), &info, AT_SYMLINK_NOFOLLOW) == 0;
                 });
    if (holds) found.push_back(folder);
  }
  return found;
}
