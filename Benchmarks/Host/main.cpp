// Does requests one after the other, as lines of JSON on its input ask for, and prints what each cost as a line of
// JSON: {"do": "status", "folder": "/path"}. Times are in milliseconds. The script `compare` drives it; one process
// does ours and the bare tool in turn, so that both meet the same machine.
#include <malloc.h>

#include <atomic>
#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <iostream>
#include <mutex>
#include <nlohmann/json.hpp>
#include <stdexcept>
#include <string>
#include <thread>

#include "BareTool.h"
#include "Checkout.h"
#include "Measuring.h"
#include "QRBSourceControl.h"
#include "QRBSourceControlConstants.h"
#include "QRBSourceControlManager.h"
#include "Transfers.h"

namespace {

using measuring::Clock;
using nlohmann::json;
using LogItems = std::vector<QRBSourceControlLogItemPtr>;

const QRBSourceControlManagerPtr& manager() {
  return QRBSourceControlManager::sharedInstance();
}

/// Of the system whose metadata are in the folder.
QRBSourceControlWorkingCopyPtr workingCopyAt(const std::string& folder) {
  bool isSubversion = std::filesystem::exists(folder + "/.svn");
  auto system = QRBSourceControlSystem::systemWithIdentifier(isSubversion ? QRBSourceControlSubversionPlugInIdentifier
                                                                          : QRBSourceControlGitPlugInIdentifier);
  if (system == nullptr || !system->isUsable()) throw std::runtime_error("the plug-in is not installed");
  qrb::URL url = qrb::URL::fileURL(folder);
  return QRBSourceControlWorkingCopy::initWithFileURLUnidentifiableRepository(
      url, QRBSourceControlRepository::initWithURL(url, system));
}

/// Counts replies; the main thread waits for the last.
class Latch {
 public:
  explicit Latch(int count) : _count(count) {}
  void down() {
    std::lock_guard lock(_mutex);
    if (--_count == 0) _changed.notify_all();
  }
  void wait() {
    std::unique_lock lock(_mutex);
    _changed.wait(lock, [this] { return _count <= 0; });
  }

 private:
  std::mutex _mutex;
  std::condition_variable _changed;
  int _count;
};

void check(const qrb::Error& error) {
  if (!error) return;
  std::fprintf(stderr, "%s\n", error.localizedDescription().c_str());
  std::exit(1);
}

/// CPU time of the plug-in and of git under it. Only the plug-in itself can tell them apart, so it is looked at when
/// its reply is here and before it is told to go.
struct PlugInCPU {
  double plugIn = 0;
  double git = 0;

  void look() {
    for (int pid : measuring::descendants()) {
      measuring::ProcessCPU cpu = measuring::cpuOf(pid);
      plugIn += cpu.own;
      git += cpu.ended;
    }
  }
};

double baseRevisionOf(const QRBSourceControlWorkingCopyPtr& workingCopy) {
  Latch latch(1);
  Clock::time_point start = Clock::now();
  manager()->baseRevisionOfWorkingCopy(workingCopy, [&](const QRBSourceControlRevisionPtr&, const qrb::Error& error) {
    check(error);
    latch.down();
  });
  latch.wait();
  return measuring::milliseconds(Clock::now() - start);
}

/// One request after another: how long each took, and the mean CPU time of one, launched processes included.
json baseRevisions(const json& request) {
  auto workingCopy = workingCopyAt(request.at("folder"));
  int count = request.at("count");
  double own = measuring::ownCPU();
  double children = measuring::childrenCPU();
  json walls = json::array();
  for (int index = 0; index < count; ++index) walls.push_back(baseRevisionOf(workingCopy));
  double cpu = measuring::ownCPU() - own;
  // One may be left that was launched ahead; it ends when nothing asks for it.
  measuring::waitForChildren();
  cpu += measuring::childrenCPU() - children;
  return {{"walls", std::move(walls)}, {"cpu", cpu / count}};
}

json status(const json& request) {
  auto workingCopy = workingCopyAt(request.at("folder"));
  double own = measuring::ownCPU();
  Latch latch(1);
  PlugInCPU cpu;
  QRBSourceControlPathStatusesPtr statuses;
  double wall = 0;
  Clock::time_point start = Clock::now();
  manager()->filesAndStatusOfWorkingCopy(workingCopy, false,
                                         [&](const QRBSourceControlPathStatusesPtr& local,
                                             const QRBSourceControlPathStatusesPtr&, const qrb::Error& error) {
                                           wall = measuring::milliseconds(Clock::now() - start);
                                           check(error);
                                           statuses = local;
                                           cpu.look();
                                           latch.down();
                                         });
  latch.wait();
  double host = measuring::ownCPU() - own;
  measuring::waitForChildren();
  return {{"wall", wall}, {"host", host}, {"plugIn", cpu.plugIn}, {"git", cpu.git}, {"entries", statuses->size()}};
}

json history(const json& request) {
  auto workingCopy = workingCopyAt(request.at("folder"));
  ::malloc_trim(0);
  double resident = measuring::residentBytes();
  double own = measuring::ownCPU();
  Latch latch(1);
  PlugInCPU cpu;
  LogItems items;
  double wall = 0;
  double first = 0;
  std::size_t firstCount = 0;
  Clock::time_point start = Clock::now();
  manager()->historyOfWorkingCopy(
      workingCopy, nullptr, nullptr, QRBSourceControlHistoryIncludeAll, 0, nullptr,
      QRBSourceControlHistorySearchDefault,
      [&](const LogItems& batch, double) {
        if (firstCount > 0) return;
        first = measuring::milliseconds(Clock::now() - start);
        firstCount = batch.size();
      },
      [&](const LogItems& all, const qrb::Error& error) {
        wall = measuring::milliseconds(Clock::now() - start);
        check(error);
        items = all;
        cpu.look();
        latch.down();
      });
  latch.wait();
  double host = measuring::ownCPU() - own;
  measuring::waitForChildren();
  double held = measuring::residentBytes() - resident;
  ::malloc_trim(0);
  double heldTrimmed = measuring::residentBytes() - resident;
  return {{"wall", wall},   {"host", host},          {"plugIn", cpu.plugIn},
          {"git", cpu.git}, {"first", first},        {"firstCount", firstCount},
          {"held", held},   {"needed", heldTrimmed}, {"entries", items.size()}};
}

/// Many requests at once. Counting the living processes takes time of its own, so it is done only when asked for.
json manyStatuses(const json& request) {
  auto workingCopy = workingCopyAt(request.at("folder"));
  int count = request.at("count");
  bool counts = request.value("countsProcesses", false);
  double own = measuring::ownCPU();
  double children = measuring::childrenCPU();
  Latch latch(count);
  std::atomic<bool> over = false;
  std::size_t most = 0;
  std::thread counter;
  if (counts) {
    counter = std::thread([&] {
      while (!over) most = std::max(most, measuring::descendants().size());
    });
  }
  Clock::time_point start = Clock::now();
  for (int index = 0; index < count; ++index) {
    manager()->filesAndStatusOfWorkingCopy(
        workingCopy, false,
        [&](const QRBSourceControlPathStatusesPtr&, const QRBSourceControlPathStatusesPtr&, const qrb::Error& error) {
          check(error);
          latch.down();
        });
  }
  latch.wait();
  double wall = measuring::milliseconds(Clock::now() - start);
  over = true;
  if (counts) counter.join();
  measuring::waitForChildren();
  return {{"wall", wall},
          {"host", measuring::ownCPU() - own},
          {"children", measuring::childrenCPU() - children},
          {"mostProcesses", most}};
}

json blame(const json& request) {
  auto workingCopy = workingCopyAt(request.at("folder"));
  double own = measuring::ownCPU();
  Latch latch(1);
  PlugInCPU cpu;
  std::size_t entries = 0;
  Clock::time_point start = Clock::now();
  workingCopy->blameFile(std::string(request.at("file")), QRBSourceControlRevisionLocationPtr(),
                         [&](const std::vector<QRBSourceControlBlameItemPtr>& items, const qrb::Error& error) {
                           check(error);
                           entries = items.size();
                           cpu.look();
                           latch.down();
                         });
  latch.wait();
  double wall = measuring::milliseconds(Clock::now() - start);
  measuring::waitForChildren();
  return {{"wall", wall},
          {"host", measuring::ownCPU() - own},
          {"plugIn", cpu.plugIn},
          {"git", cpu.git},
          {"entries", entries}};
}

json serve(const json& request) {
  std::string what = request.at("do");
  if (what == "baseRevisions") return baseRevisions(request);
  if (what == "status") return status(request);
  if (what == "history") return history(request);
  if (what == "blame") return blame(request);
  if (what == "clone") return transfers::clone(request);
  if (what == "fetch") return transfers::fetch(request);
  if (what == "push") return transfers::push(request);
  if (what == "manyStatuses") return manyStatuses(request);
  if (what == "checkout") return checkOutBlueprint(request.at("blueprint"), request.at("folder"));
  if (what == "bare") return runBareTool(request.at("folder"), request.at("arguments"), request.value("marks", 0));
  throw std::runtime_error("unknown request: " + what);
}

}  // namespace

int main() {
  try {
    for (std::string line; std::getline(std::cin, line);) {
      std::cout << serve(json::parse(line)).dump() << std::endl;
    }
  } catch (const std::exception& problem) {
    std::fprintf(stderr, "qrb-bench-host: %s\n", problem.what());
    return 1;
  }
  return 0;
}
