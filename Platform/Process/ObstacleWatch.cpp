#include "ObstacleWatch.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <array>
#include <charconv>
#include <climits>
#include <filesystem>
#include <string_view>
#include <vector>

#include "FileDescriptor.h"
#include "FileSystem.h"

namespace qrb {
namespace {

namespace fs = std::filesystem;

/// No tool nests its processes deeper than this.
constexpr int deepest = 16;

std::string folderOf(pid_t process) {
  return "/proc/" + std::to_string(process);
}

std::string textOf(const std::string& path) {
  return readFile(path, anySize).value_or("");
}

std::string linkTarget(const std::string& path) {
  std::error_code error;
  return fs::read_symlink(path, error).string();
}

/// Whether the process waits in a way that a signal could end. It does not while it waits for a slow disk or server,
/// and looking at the path would wait then as well.
bool sleepsInterruptibly(const std::string& task) {
  std::string stat = textOf(task + "/stat");
  // The state follows the program's name, which may hold anything.
  std::size_t end = stat.rfind(')');
  return end != std::string::npos && std::string_view(stat).substr(end).starts_with(") S");
}

bool isPipeOrDevice(const std::string& path) {
  struct statx information {};
  constexpr int flags = AT_NO_AUTOMOUNT | AT_STATX_DONT_SYNC;
  if (::statx(AT_FDCWD, path.c_str(), flags, STATX_TYPE, &information) != 0) return false;
  return S_ISFIFO(information.stx_mode) || S_ISCHR(information.stx_mode);
}

/// "<number> 0x<argument> …"; none for "running" and for a process that waits in no system call.
std::optional<std::array<unsigned long, 3>> readCall(std::string_view text) {
  std::array<unsigned long, 3> values{};
  for (std::size_t index = 0; index < values.size(); ++index) {
    if (index > 0) {
      if (!text.starts_with(" 0x")) return std::nullopt;
      text.remove_prefix(3);
    }
    auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), values[index], index > 0 ? 16 : 10);
    if (error != std::errc()) return std::nullopt;
    text.remove_prefix(static_cast<std::size_t>(end - text.data()));
  }
  return values;
}

/// The text at an address in another process; empty where it cannot be read.
std::string textAt(pid_t process, unsigned long address) {
  FileDescriptor memory(::open((folderOf(process) + "/mem").c_str(), O_RDONLY | O_CLOEXEC));
  std::string text(PATH_MAX, '\0');
  ssize_t got = memory.valid() ? ::pread(memory.get(), text.data(), text.size(), static_cast<off_t>(address)) : -1;
  std::size_t end = text.find('\0');
  return got > 0 && end < static_cast<std::size_t>(got) ? text.substr(0, end) : std::string();
}

/// What a call opens: `folder` is where relative paths begin, as a link in /proc.
std::string openedPath(pid_t process, int folder, unsigned long address) {
  std::string path = textAt(process, address);
  if (path.empty() || path.front() == '/') return path;
  std::string link = folder == AT_FDCWD ? "/cwd" : "/fd/" + std::to_string(folder);
  std::string base = linkTarget(folderOf(process) + link);
  return base.starts_with('/') ? (fs::path(base) / path).lexically_normal().string() : std::string();
}

/// What a call of the kind that waits at pipes is about; empty for any other.
std::string pathOfCall(pid_t process, const std::array<unsigned long, 3>& call) {
  switch (call[0]) {
#ifdef SYS_open
    case SYS_open:
      return openedPath(process, AT_FDCWD, call[1]);
#endif
    case SYS_openat:
    case SYS_openat2:
      return openedPath(process, static_cast<int>(call[1]), call[2]);
    case SYS_read:
      // The tool was given the standard ones. Pipes without a name lead nowhere in the file system.
      return call[1] > STDERR_FILENO ? linkTarget(folderOf(process) + "/fd/" + std::to_string(call[1])) : std::string();
    default:
      return {};
  }
}

std::vector<pid_t> numbersIn(std::string_view text) {
  std::vector<pid_t> numbers;
  for (pid_t number = 0;;) {
    while (text.starts_with(' ')) text.remove_prefix(1);
    auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (error != std::errc()) return numbers;
    numbers.push_back(number);
    text.remove_prefix(static_cast<std::size_t>(end - text.data()));
  }
}

std::vector<pid_t> threadsOf(pid_t process) {
  std::vector<pid_t> threads;
  std::error_code error;
  for (fs::directory_iterator entry(folderOf(process) + "/task", error), end; !error && entry != end;
       entry.increment(error)) {
    std::vector<pid_t> numbers = numbersIn(entry->path().filename().string());
    threads.insert(threads.end(), numbers.begin(), numbers.end());
  }
  // A sandbox may forbid the listing. The first thread opens nearly everything.
  if (threads.empty()) threads.push_back(process);
  return threads;
}

}  // namespace

ObstacleWatch::ObstacleWatch(const std::string& program) : _name(fs::path(program).filename().string()) {}

bool ObstacleWatch::isOwn(pid_t process) const {
  return fs::path(linkTarget(folderOf(process) + "/exe")).filename() == _name;
}

std::optional<ObstacleWatch::Wait> ObstacleWatch::waitOf(pid_t process, pid_t thread) {
  std::string task = folderOf(process) + "/task/" + std::to_string(thread);
  std::string text = textOf(task + "/syscall");
  auto call = readCall(text);
  if (!call || !sleepsInterruptibly(task)) return std::nullopt;
  std::string path = pathOfCall(process, *call);
  if (!path.starts_with('/') || !isPipeOrDevice(path)) return std::nullopt;
  // It is still in the same call, so what was read meanwhile belongs to that.
  if (textOf(task + "/syscall") != text) return std::nullopt;
  return Wait{thread, text, path};
}

std::optional<ObstacleWatch::Wait> ObstacleWatch::find(pid_t process, int depth) const {
  bool own = isOwn(process);
  // The tool itself may be started by a script of its name.
  if (!own && depth > 0) return std::nullopt;
  for (pid_t thread : threadsOf(process)) {
    if (own) {
      if (auto wait = waitOf(process, thread)) return wait;
    }
    if (depth == deepest) continue;
    std::string children = folderOf(process) + "/task/" + std::to_string(thread) + "/children";
    for (pid_t child : numbersIn(textOf(children))) {
      if (auto wait = find(child, depth + 1)) return wait;
    }
  }
  return std::nullopt;
}

std::optional<std::string> ObstacleWatch::look(pid_t tool) {
  std::optional<Wait> wait = find(tool, 0);
  bool isSure = wait && wait == _last;
  _last = std::move(wait);
  if (!isSure) return std::nullopt;
  ::kill(_last->thread, SIGTERM);
  return _last->path;
}

}  // namespace qrb
