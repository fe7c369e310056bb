#include "Campaign.h"

#include <poll.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <stdexcept>
#include <system_error>

#include "FileTree.h"
#include "ServiceDirectories.h"

namespace qrb::hostile {
namespace {

namespace fs = std::filesystem;
using Clock = std::chrono::steady_clock;

/// In memory where there is such a place, since a campaign writes little else than small files.
std::string makeRunFolder() {
  std::error_code error;
  fs::path above = fs::is_directory("/dev/shm", error) ? fs::path("/dev/shm") : fs::temp_directory_path();
  std::string pattern = (above / "qrb-hostile-XXXXXX").string();
  if (::mkdtemp(pattern.data()) == nullptr) throw std::system_error(errno, std::generic_category(), pattern);
  return pattern;
}

/// The program that repositories want to have run lies beside this one.
void copyProgram(const std::string& to) {
  fs::copy_file(fs::read_symlink("/proc/self/exe").parent_path() / "qrb-hostile-marker", to);
}

/// Nothing of whoever runs the campaign reaches git.
void setEnvironment(const RunFolders& run, const std::string& folder) {
  ::setenv("HOME", run.home().c_str(), 1);
  ::setenv("XDG_CONFIG_HOME", (run.home() + "/.config").c_str(), 1);
  ::setenv("TMPDIR", (folder + "/tmp").c_str(), 1);
  ::setenv("GIT_CONFIG_GLOBAL", "/dev/null", 1);
  ::setenv("GIT_CONFIG_NOSYSTEM", "1", 1);
}

/// Keeps a plug-in that would take all memory from taking that of others too; far above what is a finding.
void limitMemory() {
#ifndef QRB_HAS_SANITIZER
  constexpr rlim_t bytes = rlim_t{4} << 30;
  rlimit limit{bytes, bytes};
  ::setrlimit(RLIMIT_DATA, &limit);
#endif
}

/// A first byte, which tells whether the worker takes more cases, and "<kind>\0<detail>\0" for each finding. What a
/// process and its children have needed at most never falls again, so whoever needed too much is replaced.
constexpr char goesOn = '+';
constexpr char isAtItsEnd = '.';
std::string packed(const std::vector<Finding>& findings) {
  constexpr std::size_t longest = 1500;
  bool neededMuch =
      std::ranges::any_of(findings, [](const Finding& finding) { return finding.kind.starts_with("memory"); });
  std::string text(1, neededMuch ? isAtItsEnd : goesOn);
  for (const Finding& finding : findings) {
    text.append(finding.kind).append(1, '\0').append(finding.detail.substr(0, longest)).append(1, '\0');
  }
  return text;
}

/// The life of a worker: numbers of cases come in, findings go out; nothing comes when it is over.
[[noreturn]] void work(int connection, const Options& options, const RunFolders& run, const std::string& folder,
                       const std::vector<Template>& templates) {
  ::prctl(PR_SET_PDEATHSIG, SIGKILL);
  setEnvironment(run, folder);
  limitMemory();
  if (!options.plugInDirectory.empty()) ServiceDirectories::registerDirectory(options.plugInDirectory);
  try {
    Looking looking(options, run, folder, templates);
    std::uint64_t number = 0;
    while (::recv(connection, &number, sizeof number, 0) == static_cast<ssize_t>(sizeof number)) {
      std::string answer = packed(looking.run(number));
      if (::send(connection, answer.data(), answer.size(), MSG_NOSIGNAL) < 0 || answer[0] == isAtItsEnd) break;
    }
  } catch (const std::exception& error) {
    std::fprintf(stderr, "%s\n", error.what());
    std::_Exit(EXIT_FAILURE);
  }
  std::_Exit(EXIT_SUCCESS);
}

}  // namespace

Campaign::Campaign(Options options)
    : _options(std::move(options)), _run{makeRunFolder()}, _workers(_options.jobs), _next(_options.first) {
  for (const std::string& folder : {_run.marks(), _run.kept(), _run.home()}) fs::create_directory(folder);
  copyProgram(_run.program());
  _templates = makeTemplates();
}

Campaign::~Campaign() {
  for (Worker& worker : _workers) end(worker);
  if (_counts.empty() && !_options.keep) {
    removeTree(_run.root);
  } else {
    std::printf("Kept in %s\n", _run.kept().c_str());
  }
}

bool Campaign::isOver() const {
  bool isOutOfTime =
      _options.seconds > 0 && Clock::now() - _begin > std::chrono::seconds(static_cast<long>(_options.seconds));
  return isOutOfTime || (_options.cases > 0 && _next - _options.first >= _options.cases);
}

void Campaign::start(Worker& worker) {
  std::array<int, 2> ends{};
  if (::socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, ends.data()) != 0) {
    throw std::system_error(errno, std::generic_category(), "socketpair");
  }
  std::string folder = _run.root + "/worker-" + std::to_string(_started++);
  std::fflush(stdout);
  worker.process = ::fork();
  if (worker.process < 0) throw std::system_error(errno, std::generic_category(), "fork");
  if (worker.process == 0) {
    ::close(ends[0]);
    // Their ends tell the others that it is over.
    for (const Worker& other : _workers) {
      if (other.connection >= 0) ::close(other.connection);
    }
    work(ends[1], _options, _run, folder, _templates);
  }
  ::close(ends[1]);
  worker.connection = ends[0];
}

void Campaign::end(Worker& worker) {
  if (worker.process < 0) return;
  ::close(worker.connection);
  if (worker.isBusy) ::kill(worker.process, SIGKILL);
  ::waitpid(worker.process, nullptr, 0);
  worker = {};
}

void Campaign::giveWork() {
  for (Worker& worker : _workers) {
    if (worker.isBusy || isOver()) continue;
    if (worker.process < 0) start(worker);
    worker.number = _next++;
    // Where it has died meanwhile, waiting for its answer will tell.
    ::send(worker.connection, &worker.number, sizeof worker.number, MSG_NOSIGNAL);
    worker.isBusy = true;
    worker.since = Clock::now();
  }
}

void Campaign::report(std::uint64_t number, const std::string& kind, const std::string& detail) {
  ++_counts[kind];
  std::printf("case %llu: %s: %s\n    %s\n", static_cast<unsigned long long>(number), kind.c_str(), detail.c_str(),
              makeCase(_templates, _options.seed, number).description.c_str());
  std::fflush(stdout);
}

void Campaign::take(Worker& worker) {
  std::string answer(std::size_t{64} << 10, '\0');
  ssize_t length = ::recv(worker.connection, answer.data(), answer.size(), 0);
  worker.isBusy = false;
  ++_done;
  if (length <= 0) {
    int status = 0;
    ::waitpid(worker.process, &status, 0);
    ::close(worker.connection);
    report(worker.number, "host died", "status " + std::to_string(status));
    worker = {};
    return;
  }
  answer.resize(static_cast<std::size_t>(length));
  for (std::size_t begin = 1; begin < answer.size();) {
    std::size_t middle = answer.find('\0', begin);
    std::size_t end = answer.find('\0', middle + 1);
    report(worker.number, answer.substr(begin, middle - begin), answer.substr(middle + 1, end - middle - 1));
    begin = end + 1;
  }
  if (answer[0] == isAtItsEnd) end(worker);
}

void Campaign::serve() {
  std::vector<pollfd> ready;
  std::vector<Worker*> busy;
  for (Worker& worker : _workers) {
    if (!worker.isBusy) continue;
    busy.push_back(&worker);
    ready.push_back({worker.connection, POLLIN, 0});
  }
  ::poll(ready.data(), ready.size(), 1000);
  // Each request alone, after all together, and cancelled.
  std::chrono::seconds patience(30L * _options.limit);
  for (std::size_t index = 0; index < busy.size(); ++index) {
    Worker& worker = *busy[index];
    if (ready[index].revents != 0) {
      take(worker);
    } else if (Clock::now() - worker.since > patience) {
      ++_done;
      report(worker.number, "host hangs", "");
      end(worker);
    }
  }
}

void Campaign::findLateMarks() {
  for (const auto& mark : fs::directory_iterator(_run.marks())) {
    std::string name = mark.path().filename().string();
    report(std::strtoull(name.c_str() + name.find('-') + 1, nullptr, 10), "program ran", "after the answer");
  }
  for (const auto& entry : fs::recursive_directory_iterator(_run.home())) {
    ++_counts["changed outside"];
    std::printf("The home folder holds %s\n", entry.path().c_str());
  }
}

bool Campaign::run() {
  std::printf("Seed %llu, %zu tricks, %zu single changes, then mixtures; in %s\n",
              static_cast<unsigned long long>(_options.seed), recipeCount(), singleCount(), _run.root.c_str());
  _begin = Clock::now();
  auto isBusy = [](const Worker& worker) { return worker.isBusy; };
  for (giveWork(); std::ranges::any_of(_workers, isBusy); giveWork()) serve();
  for (Worker& worker : _workers) end(worker);
  findLateMarks();
  double seconds = std::chrono::duration<double>(Clock::now() - _begin).count();
  std::printf("%llu cases in %.1f s\n", static_cast<unsigned long long>(_done), seconds);
  for (const auto& [kind, count] : _counts) {
    std::printf("%llu: %s\n", static_cast<unsigned long long>(count), kind.c_str());
  }
  return _counts.empty();
}

}  // namespace qrb::hostile
