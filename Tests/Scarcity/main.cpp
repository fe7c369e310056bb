// A host makes many small requests, several at once, while it lacks memory, descriptors, threads or disk. Each is to be
// answered, with a value or an error, and the host is to end by itself with status 0. Prints a table; exits with 1 when
// a limit was not held out.
//
//     qrb-scarcity [--short] [NAME...]      names as in the table's first column; --short is the test's form

#include <dlfcn.h>
#include <fcntl.h>
#include <grp.h>
#include <poll.h>
#include <pthread.h>
#include <sched.h>
#include <signal.h>
#include <sys/mount.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <mutex>
#include <string>
#include <vector>

#include "GitRepository.h"
#include "QRBSourceControl.h"
#include "ServiceProcesses.h"

namespace {

namespace fs = std::filesystem;

constexpr int kRequests = 1000;
constexpr int kAtOnce = 16;
// Long beyond anything that happens: only a request that is never answered waits so long.
constexpr std::chrono::seconds kPatience{60};
constexpr int kHostPatienceMilliseconds = 300'000;
constexpr uid_t kNobody = 65534;
/// The exit status of a host that may not mount anything.
constexpr int kNotPossible = 77;
constexpr const char* kNotTried = "not tried: nothing may be mounted here";
constexpr rlim_t kMegabyte = rlim_t{1} << 20;

/// Not a limit of the system: in the host alone, about one in so many of them fails.
constexpr int kAllocations = -1;
constexpr int kThreads = -2;
/// Not a limit either: the working copy, what is exported and temporary files lie on a file system without room.
constexpr int kFullDisk = -3;

struct Limit {
  const char* name;
  int resource;
  rlim_t value;
  bool inShortForm = false;
};

std::array<Limit, 23> kLimits = {{
    {"none", RLIMIT_CORE, 0, true},
    {"memory-64", RLIMIT_AS, 64 * kMegabyte, true},
    {"memory-128", RLIMIT_AS, 128 * kMegabyte, true},
    {"memory-256", RLIMIT_AS, 256 * kMegabyte, true},
    {"memory-512", RLIMIT_AS, 512 * kMegabyte},
    {"memory-1024", RLIMIT_AS, 1024 * kMegabyte},
    {"files-10", RLIMIT_NOFILE, 10, true},
    {"files-16", RLIMIT_NOFILE, 16},
    {"files-32", RLIMIT_NOFILE, 32, true},
    {"files-64", RLIMIT_NOFILE, 64},
    {"files-256", RLIMIT_NOFILE, 256},
    {"processes-6", RLIMIT_NPROC, 6, true},
    {"processes-20", RLIMIT_NPROC, 20, true},
    {"processes-50", RLIMIT_NPROC, 50},
    {"processes-400", RLIMIT_NPROC, 400},
    // Every write to a file fails.
    {"file-size", RLIMIT_FSIZE, 0, true},
    {"full-disk", kFullDisk, 0, true},
    // A limit of memory is met by the plug-ins first. These are met by the host alone, wherever it takes memory.
    {"new-10", kAllocations, 10},
    {"new-100", kAllocations, 100, true},
    {"new-1000", kAllocations, 1000, true},
    {"new-10000", kAllocations, 10000},
    {"threads-2", kThreads, 2, true},
    {"threads-10", kThreads, 10},
}};

/// Zero where none is to fail.
std::atomic<std::uint64_t> allocationsPerFailure = 0;
std::atomic<std::uint64_t> threadsPerFailure = 0;

/// The same sequence each time, though which thread meets which of it differs.
bool failsNow(const std::atomic<std::uint64_t>& perFailure) {
  static std::atomic<std::uint64_t> calls = 0;
  std::uint64_t every = perFailure;
  if (every == 0) return false;
  std::uint64_t mixed = (++calls) * 0x9e3779b97f4a7c15u;
  mixed ^= mixed >> 29;
  return (mixed * 0xbf58476d1ce4e5b9u >> 32) % every == 0;
}

/// What a host tells of itself, as one write to a pipe.
struct Counts {
  int succeeded = 0;
  int failed = 0;
  /// The request could not even be made: the call threw.
  int thrown = 0;
  int unanswered = 0;

  int answered() const { return succeeded + failed + thrown; }
};

/// Counts answers and keeps the number of open requests within bounds. It takes no memory once it is made.
class Answers {
 public:
  explicit Answers(int requests) : _seen(static_cast<std::size_t>(requests)) {}

  void awaitRoom() {
    std::unique_lock lock(_mutex);
    _changed.wait_for(lock, kPatience, [this] { return _open < kAtOnce; });
    ++_open;
  }
  void take(int request, bool success) {
    std::lock_guard lock(_mutex);
    if (_seen[static_cast<std::size_t>(request)]++ != 0) std::abort();
    ++(success ? _counts.succeeded : _counts.failed);
    --_open;
    _changed.notify_all();
  }
  void takeThrown() {
    std::lock_guard lock(_mutex);
    ++_counts.thrown;
    --_open;
  }
  Counts end() {
    std::unique_lock lock(_mutex);
    _changed.wait_for(lock, kPatience, [this] { return _open == 0; });
    _counts.unanswered = _open;
    return _counts;
  }

 private:
  std::mutex _mutex;
  std::condition_variable _changed;
  std::vector<int> _seen;
  int _open = 0;
  Counts _counts;
};

/// Where a request is to put the file that it exports.
std::string exportFolder(const std::string& workingCopy, int request) {
  return workingCopy + "-exports/" + std::to_string(request);
}

/// A request of one of four kinds.
void makeRequest(int number, const QRBSourceControlWorkingCopyPtr& workingCopy, const QRBSourceControlRevisionPtr& head,
                 Answers& answers) {
  const auto& manager = QRBSourceControlManager::sharedInstance();
  switch (number % 4) {
    case 0:
      manager->filesAndStatusOfWorkingCopy(
          workingCopy, false,
          [&answers, number](const auto&, const auto&, const qrb::Error& error) { answers.take(number, !error); });
      break;
    case 1:
      manager->historyOfWorkingCopy(
          workingCopy, nullptr, nullptr, QRBSourceControlHistoryIncludeAll, 10, {}, 0, {},
          [&answers, number](const auto&, const qrb::Error& error) { answers.take(number, !error); });
      break;
    case 2:
      manager->exportFileFromRevisionLocation(
          "file 0", workingCopy, QRBSourceControlRevisionLocation::initWithRevision(head),
          qrb::URL::fileURL(exportFolder(workingCopy->fileURL().path().str(), number)),
          [&answers, number](const auto&, const qrb::Error& error) { answers.take(number, !error); });
      break;
    default:
      manager->listBranchesOfRepository(
          workingCopy->repository(), nullptr,
          [&answers, number](const auto&, const qrb::Error& error) { answers.take(number, !error); });
  }
}

/// A small file system, seen by this process and its children alone. False where the system forbids that.
bool mountDisk(const std::string& folder) {
  int separate = ::geteuid() == 0 ? CLONE_NEWNS : CLONE_NEWUSER | CLONE_NEWNS;
  return ::unshare(separate) == 0 && ::mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0 &&
         ::mount("none", folder.c_str(), "tmpfs", 0, "size=4m,mode=755") == 0;
}

/// Not a byte can be written there afterwards.
void fill(const fs::path& folder) {
  std::array<char, 4096> bytes{};
  int file = ::open((folder / "filling").c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600);
  while (::write(file, bytes.data(), bytes.size()) > 0) {
  }
  if (errno != ENOSPC) std::abort();
  ::close(file);
}

Counts makeRequests(int requests, const Limit& limit, const std::string& folder, const std::string& revision) {
  // All that is the host's own is made before anything is scarce.
  Answers answers(requests);
  auto system = QRBSourceControlSystem::initWithName("Git", QRBSourceControlGitPlugInIdentifier.data(), "1", ".git", {},
                                                     true, true, false, false, false, 7);
  auto url = qrb::URL::fileURL(folder);
  auto workingCopy = QRBSourceControlWorkingCopy::initWithFileURLUnidentifiableRepository(
      url, QRBSourceControlRepository::initWithURL(url, system));
  auto head = QRBSourceControlRevision::initWithIdentifier(revision);
  rlimit value{limit.value, limit.value};
  if (limit.resource == kAllocations) {
    allocationsPerFailure = limit.value;
  } else if (limit.resource == kThreads) {
    threadsPerFailure = limit.value;
  } else if (limit.resource == kFullDisk) {
    fill(fs::path(folder).parent_path());
  } else if (::setrlimit(static_cast<__rlimit_resource>(limit.resource), &value) != 0) {
    std::abort();
  }
  for (int number = 0; number < requests; ++number) {
    answers.awaitRoom();
    try {
      makeRequest(number, workingCopy, head, answers);
    } catch (const std::bad_alloc&) {
      answers.takeThrown();
    } catch (const std::system_error&) {
      answers.takeThrown();
    }
  }
  Counts counts = answers.end();
  allocationsPerFailure = 0;
  return counts;
}

/// The host: a process in which nothing of the library has been used.
[[noreturn]] void beHost(int requests, const Limit& limit, std::string folder, const std::string& revision,
                         int report) {
  rlimit noCore{0, 0};
  ::setrlimit(RLIMIT_CORE, &noCore);
  if (limit.resource == kFullDisk) {
    std::string disk = folder + "-disk";
    if (!mountDisk(disk)) std::exit(kNotPossible);
    fs::copy(folder, disk + "/root", fs::copy_options::recursive);
    ::setenv("TMPDIR", disk.c_str(), 1);
    folder = disk + "/root";
  }
  for (int number = 0; number < requests; ++number) {
    fs::create_directories(exportFolder(folder, number));
    fs::permissions(exportFolder(folder, number), fs::perms(0777));
  }
  // The superuser may have as many processes as he likes.
  if (limit.resource == RLIMIT_NPROC && ::geteuid() == 0) {
    if (::setgroups(0, nullptr) != 0 || ::setgid(kNobody) != 0 || ::setuid(kNobody) != 0) std::abort();
  }
  Counts counts = makeRequests(requests, limit, folder, revision);
  if (::write(report, &counts, sizeof counts) != sizeof counts) std::abort();
  qrb::endUnusedServices();
  std::exit(0);
}

/// How the host ended, in words, or kNotTried; empty when it did so by itself with status 0.
std::string awaitHost(pid_t host, int report, Counts& counts) {
  pollfd readable{report, POLLIN, 0};
  bool ended = ::poll(&readable, 1, kHostPatienceMilliseconds) > 0;
  bool told = ended && ::read(report, &counts, sizeof counts) == static_cast<ssize_t>(sizeof counts);
  if (!ended) ::kill(host, SIGKILL);
  int status = 0;
  ::waitpid(host, &status, 0);
  if (WIFSIGNALED(status)) {
    return (told ? "ended by signal " : "ended before its report by signal ") + std::to_string(WTERMSIG(status));
  }
  if (WEXITSTATUS(status) == kNotPossible) return kNotTried;
  return WEXITSTATUS(status) == 0 ? "" : "exit status " + std::to_string(WEXITSTATUS(status));
}

bool holdsOut(const Limit& limit, int requests, const std::string& folder, const std::string& revision) {
  int ends[2];
  if (::pipe(ends) != 0) std::abort();
  std::fflush(stdout);
  pid_t host = ::fork();
  if (host == 0) {
    ::close(ends[0]);
    beHost(requests, limit, folder, revision, ends[1]);
  }
  ::close(ends[1]);
  Counts counts;
  std::string end = awaitHost(host, ends[0], counts);
  ::close(ends[0]);
  if (end == kNotTried) {
    std::printf("%-14s %s\n", limit.name, kNotTried);
    return true;
  }
  // A limit that lets everything fail shows nothing of the others' success; without one everything succeeds.
  bool asExpected = limit.resource != RLIMIT_CORE || counts.succeeded == requests;
  std::printf("%-14s %9d %10d %7d %7d %11d  %s\n", limit.name, counts.answered(), counts.succeeded, counts.failed,
              counts.thrown, counts.unanswered, end.empty() ? "alive" : end.c_str());
  return end.empty() && counts.answered() == requests && asExpected;
}

}  // namespace

// In place of the standard library's, for the library as well.

void* operator new(std::size_t size) {
  void* memory = failsNow(allocationsPerFailure) ? nullptr : std::malloc(std::max<std::size_t>(size, 1));
  return memory != nullptr ? memory : throw std::bad_alloc();
}
void operator delete(void* memory) noexcept {
  std::free(memory);
}
void operator delete(void* memory, std::size_t) noexcept {
  std::free(memory);
}

extern "C" __attribute__((visibility("default"))) int pthread_create(pthread_t* thread,
                                                                     const pthread_attr_t* attributes,
                                                                     void* (*function)(void*), void* argument) {
  static const auto create = reinterpret_cast<decltype(&pthread_create)>(::dlsym(RTLD_NEXT, "pthread_create"));
  return failsNow(threadsPerFailure) ? EAGAIN : create(thread, attributes, function, argument);
}

int main(int count, char** arguments) {
  std::vector<std::string> words(arguments + 1, arguments + count);
  bool shortForm = std::ranges::count(words, "--short") > 0;
  bool named = words.size() > (shortForm ? 1u : 0u);
  qrb::test::GitRepository repository;
  for (int number = 0; number < 20; ++number) {
    repository.write("file " + std::to_string(number % 5), std::to_string(number));
    repository.commit("commit " + std::to_string(number));
  }
  repository.write("changed", "not committed");
  std::string revision = repository.run({"rev-parse", "HEAD"});
  // Somebody else looks at it, too.
  std::string settings = repository.beside("gitconfig");
  std::ofstream(settings) << "[safe]\n\tdirectory = *\n";
  fs::permissions(repository.beside(""), fs::perms(0755));
  fs::create_directory(repository.root() + "-disk");
  ::setenv("GIT_CONFIG_GLOBAL", settings.c_str(), 1);
  ::setenv("HOME", repository.beside("").c_str(), 1);
  std::printf("%-14s %9s %10s %7s %7s %11s  host\n", "limit", "answered", "succeeded", "failed", "thrown",
              "unanswered");
  bool all = true;
  for (const Limit& limit : kLimits) {
    if (named && std::ranges::count(words, limit.name) == 0) continue;
    if (shortForm && !limit.inShortForm) continue;
    all = holdsOut(limit, shortForm ? kRequests / 10 : kRequests, repository.root(), revision) && all;
  }
  return all ? 0 : 1;
}
