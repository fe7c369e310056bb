#include "Looking.h"

#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <condition_variable>
#include <filesystem>
#include <fstream>
#include <memory>
#include <mutex>
#include <thread>

#include "QRBSourceControlManager.h"
#include "Requests.h"
#include "ServiceProcesses.h"
#include "Snapshot.h"

namespace qrb::hostile {
namespace {

namespace fs = std::filesystem;

/// Which of several requests have been answered. Outlives its requests, which may be answered late.
class Answers {
 public:
  explicit Answers(std::size_t count) : _isAnswered(count, false) {}
  void answered(std::size_t index) {
    std::lock_guard lock(_mutex);
    _isAnswered[index] = true;
    _changed.notify_all();
  }
  /// The indices of those that have not been answered by then.
  std::vector<std::size_t> wait(std::chrono::seconds limit) {
    std::unique_lock lock(_mutex);
    _changed.wait_for(lock, limit, [this] { return std::ranges::count(_isAnswered, false) == 0; });
    std::vector<std::size_t> missing;
    for (std::size_t index = 0; index < _isAnswered.size(); ++index) {
      if (!_isAnswered[index]) missing.push_back(index);
    }
    return missing;
  }

 private:
  std::mutex _mutex;
  std::condition_variable _changed;
  std::vector<bool> _isAnswered;
};

/// The names of the requests that were not answered in time; these are cancelled.
std::vector<std::string> lookTogether(const std::string& folder, const std::vector<std::size_t>& chosen,
                                      std::chrono::seconds limit) {
  auto answers = std::make_shared<Answers>(chosen.size());
  std::vector<QRBSourceControlOperationPtr> operations;
  for (std::size_t index = 0; index < chosen.size(); ++index) {
    operations.push_back(lookingRequests()[chosen[index]].begin(
        folder, [answers, index](const qrb::Error&) { answers->answered(index); }));
  }
  std::vector<std::string> late;
  for (std::size_t index : answers->wait(limit)) {
    late.emplace_back(lookingRequests()[chosen[index]].name);
    operations[index]->cancel();
  }
  answers->wait(limit);
  return late;
}

/// Returns when all processes of the requests have ended and have been waited for, as the library does: what they
/// needed is known only then.
void waitForProcesses() {
  QRBSourceControlManager::sharedInstance()->endHelperServices();
  endUnusedServices();
  siginfo_t information{};
  while (::waitid(P_ALL, 0, &information, WEXITED | WNOWAIT) == 0 || errno == EINTR) std::this_thread::yield();
}

std::string joined(const std::vector<std::string>& texts) {
  std::string result;
  for (const std::string& text : texts) result += (result.empty() ? "" : ", ") + text;
  return result;
}

/// Whether a path of a case's folder is the repository's own, wherever its parts lie. Some changes put a part aside.
bool isInside(const HostileCase& hostile, const std::string& path) {
  if (path.starts_with("aside")) return true;
  return std::ranges::any_of(hostile.places, [&](const Place& place) {
    return std::ranges::any_of(std::vector<std::string>{place.root, place.git, place.common},
                               [&](const std::string& part) { return path.starts_with(part + "/"); });
  });
}

std::uint64_t peakMemory(int who) {
  rusage usage{};
  ::getrusage(who, &usage);
  return static_cast<std::uint64_t>(usage.ru_maxrss) >> 10;
}

}  // namespace

Looking::Looking(const Options& options, RunFolders run, std::string folder, const std::vector<Template>& templates)
    : _options(options), _run(std::move(run)), _folder(std::move(folder)), _templates(templates) {
  fs::create_directories(_folder + "/tmp");
}

std::vector<std::size_t> Looking::requestsFor(std::uint64_t number) const {
  constexpr std::size_t always = 3;
  constexpr std::size_t inTurn = 2;
  std::size_t all = lookingRequests().size();
  std::vector<std::size_t> chosen;
  for (std::size_t index = 0; index < (_options.allRequests ? all : always); ++index) chosen.push_back(index);
  for (std::size_t turn = 0; !_options.allRequests && turn < inTurn; ++turn) {
    chosen.push_back(always + (number * inTurn + turn) % (all - always));
  }
  return chosen;
}

std::vector<Finding> Looking::look(const HostileCase& hostile, std::uint64_t number,
                                   const std::vector<std::size_t>& chosen) {
  std::string name = "case-" + std::to_string(number);
  std::string folder = _folder + "/" + name;
  std::string mark = _run.marks() + "/" + name;
  hostile.tree.write({folder, mark, _run.program()});
  Snapshot before = Snapshot::of(folder, {exportFolder});
  std::vector<Finding> findings;
  auto late = lookTogether(folder, chosen, std::chrono::seconds(_options.limit));
  waitForProcesses();
  if (!late.empty()) findings.push_back({"no answer", joined(late)});
  if (std::error_code error; fs::exists(mark, error)) {
    findings.push_back({"program ran", ""});
    fs::remove(mark, error);
  }
  std::vector<std::string> outside;
  std::vector<std::string> inside;
  for (const std::string& difference : before.differencesTo(Snapshot::of(folder, {exportFolder}))) {
    (isInside(hostile, difference) ? inside : outside).push_back(difference);
  }
  if (!outside.empty()) findings.push_back({"changed outside", joined(outside)});
  if (!inside.empty() && !_options.mayChangeInside) findings.push_back({"changed inside", joined(inside)});
  removeTree(folder);
  for (const auto& entry : fs::directory_iterator(_folder + "/tmp")) removeTree(entry.path());
  return findings;
}

std::vector<Finding> Looking::memoryFindings() {
  std::vector<Finding> findings;
  auto check = [&](int who, const char* kind) {
    std::uint64_t peak = peakMemory(who);
    if (peak > _options.memory) findings.push_back({kind, std::to_string(peak) + " MiB"});
  };
  check(RUSAGE_CHILDREN, "memory of a plug-in");
  check(RUSAGE_SELF, "memory of the host");
  return findings;
}

std::vector<Finding> Looking::run(std::uint64_t number) {
  HostileCase hostile = makeCase(_templates, _options.seed, number);
  std::vector<std::size_t> chosen = requestsFor(number);
  std::vector<Finding> findings = look(hostile, number, chosen);
  bool wasLate = std::ranges::any_of(findings, [](const Finding& finding) { return finding.kind == "no answer"; });
  if (!findings.empty() && !wasLate) {
    for (std::size_t request : chosen) {
      for (const Finding& alone : look(hostile, number, {request})) {
        auto same = std::ranges::find(findings, alone.kind, &Finding::kind);
        if (same != findings.end()) same->detail += std::string(" [") + lookingRequests()[request].name + "]";
      }
    }
  }
  for (Finding& finding : memoryFindings()) findings.push_back(std::move(finding));
  if (!findings.empty() || _options.keep) keep(hostile, number, findings);
  return findings;
}

void Looking::keep(const HostileCase& hostile, std::uint64_t number, const std::vector<Finding>& findings) const {
  std::string name = "case-" + std::to_string(number);
  std::string folder = _run.kept() + "/" + name;
  hostile.tree.write({folder, _run.marks() + "/" + name, _run.program()});
  std::ofstream text(folder + ".txt");
  text << "--seed " << _options.seed << " --case " << number << "\n" << hostile.description << "\n";
  for (const Finding& finding : findings) text << finding.kind << ": " << finding.detail << "\n";
}

}  // namespace qrb::hostile
