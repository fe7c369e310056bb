#pragma once

#include <gtest/gtest.h>
#include <sys/socket.h>

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <future>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <tuple>
#include <vector>

#include "Descriptors.h"
#include "ProcessReaper.h"
#include "QRBSourceControlManager.h"
#include "QRBSourceControlModelPrivate.h"
#include "ServiceDirectories.h"
#include "ServiceProcesses.h"
#include "ServiceReservePrivate.h"
#include "TemporaryDirectory.h"
#include "UUIDString.h"

namespace qrb::test {

// Long beyond anything that happens on a loaded machine; only a request that never settles waits so long.
inline constexpr std::chrono::seconds kPatience{60};

/// Collects the calls of one completion. Made shared, since a late second call must find it alive.
template <class... Values>
class Outcome : public std::enable_shared_from_this<Outcome<Values...>> {
 public:
  using Result = std::tuple<Values..., Error>;

  static std::shared_ptr<Outcome> make() { return std::make_shared<Outcome>(); }

  auto completion() {
    return [self = this->shared_from_this()](const Values&... value, const Error& error) {
      std::lock_guard lock(self->_mutex);
      self->_results.emplace_back(value..., error);
      self->_changed.notify_all();
    };
  }
  /// The first call's values; fails the test when none comes.
  Result wait() {
    std::unique_lock lock(_mutex);
    if (!_changed.wait_for(lock, kPatience, [&] { return !_results.empty(); })) {
      ADD_FAILURE() << "the request never settled";
      return {};
    }
    return _results.front();
  }
  Error error() { return std::get<Error>(wait()); }
  std::size_t calls() {
    std::lock_guard lock(_mutex);
    return _results.size();
  }

 private:
  std::mutex _mutex;
  std::condition_variable _changed;
  std::vector<Result> _results;
};

using RevisionOutcome = Outcome<QRBSourceControlRevisionPtr>;

/// Tests that launch the test plug-in in one of its modes.
class EngineTest : public testing::Test {
 protected:
  void SetUp() override {
    // Inherited by every process that the library starts, and by theirs.
    ::setenv("QRB_TEST_RUN", _mark.c_str(), 1);
    // What the library makes once and keeps is made before anything is counted.
    usePlugIn("good");
    requestBaseRevision()->wait();
    settleProcesses();
    _descriptorsBefore = openDescriptors();
  }

  void TearDown() override {
    settleProcesses();
    EXPECT_TRUE(childProcesses().empty()) << "a process was left, or was not reaped";
    EXPECT_TRUE(descendants().empty()) << "something that a plug-in had started was left";
    EXPECT_EQ(openDescriptors(), _descriptorsBefore) << "a descriptor was left open";
    ServiceDirectories::unregisterAll();
  }

  /// Waits for the end of everything that the requests so far have brought with them. A request settles before its
  /// process is told to end, and a reader closes its connection on its own thread, so this looks until all is gone;
  /// what is still there after that is found by TearDown.
  void settleProcesses() {
    auto deadline = std::chrono::steady_clock::now() + kPatience;
    do {
      ServiceReserve::shared().clear();
      EXPECT_TRUE(ProcessReaper::shared().drain(kPatience));
    } while ((holdsConnection() || !childProcesses().empty()) && std::chrono::steady_clock::now() < deadline);
    // Whoever listens to what processes say has let go of their pipes then.
    drainServiceOutput();
  }

  /// Connections to processes are local; a server of the test listens to the network.
  static bool holdsConnection() {
    for (int descriptor : openDescriptors()) {
      std::error_code gone;
      auto target = std::filesystem::read_symlink("/proc/self/fd/" + std::to_string(descriptor), gone);
      int family = AF_UNSPEC;
      socklen_t size = sizeof family;
      const bool isLocalSocket =
          ::getsockopt(descriptor, SOL_SOCKET, SO_DOMAIN, &family, &size) == 0 && family == AF_UNIX;
      if (descriptor > 2 && (isLocalSocket || target.string().find("pidfd") != std::string::npos)) return true;
    }
    return false;
  }

  /// Everything alive that descends from this test, whatever has become of its parents.
  std::vector<ProcessEntry> descendants() const { return processesWithEnvironment("QRB_TEST_RUN=" + _mark); }

  /// From now on, requests get a plug-in of that mode.
  void usePlugIn(const std::string& mode) {
    ServiceDirectories::unregisterAll();
    addPlugIn("org.qrb.Orlix.sourcecontrol.Git", mode);
  }
  /// The same for that plug-in, beside others.
  void addPlugIn(const std::string& identifier, const std::string& mode) {
    std::filesystem::path folder = plugInFolder(mode);
    std::filesystem::create_directories(folder);
    if (!std::filesystem::exists(folder / identifier)) {
      std::filesystem::create_symlink(QRB_TEST_PLUGIN, folder / identifier);
    }
    ServiceDirectories::registerDirectory(folder.string());
  }

  /// The folder that the plug-in of that mode is launched from.
  std::filesystem::path plugInFolder(const std::string& mode) const {
    return std::filesystem::path(_folder.path()) / mode;
  }

  static QRBSourceControlSystemPtr system() {
    return QRBSourceControlSystem::initWithName("Test", "org.qrb.Orlix.sourcecontrol.Git", "1", ".git", {}, true, true,
                                                false, false, false, 7);
  }
  static QRBSourceControlRepositoryPtr repository() {
    return QRBSourceControlRepository::initWithURL(URL::fileURL("/repository"), system());
  }
  static QRBSourceControlWorkingCopyPtr workingCopy(const std::string& name = "work") {
    return QRBSourceControlWorkingCopy::initWithFileURLUnidentifiableRepository(URL::fileURL("/" + name), repository());
  }
  static const QRBSourceControlManagerPtr& manager() { return QRBSourceControlManager::sharedInstance(); }

  static std::shared_ptr<RevisionOutcome> requestBaseRevision(QRBSourceControlOperationPtr* operation = nullptr) {
    auto outcome = RevisionOutcome::make();
    auto queued = manager()->baseRevisionOfWorkingCopy(workingCopy(), outcome->completion());
    if (operation != nullptr) *operation = queued;
    return outcome;
  }

  static bool isCommunicationFailure(const Error& error) { return error.code() == 4097; }
  static bool isCancellation(const Error& error) { return error.code() == -5; }

 private:
  const std::string _mark = makeUUIDString();
  TemporaryDirectory _folder;
  std::vector<int> _descriptorsBefore;
};

}  // namespace qrb::test
