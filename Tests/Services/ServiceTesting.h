#pragma once

#include <poll.h>
#include <signal.h>
#include <stdlib.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "EngineTesting.h"
#include "FileDescriptor.h"

namespace qrb::test {

inline std::string textOf(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

/// Tests that ask the helper services through the manager. Each begins without any service process, in a home folder of
/// its own, which the services that it launches have too.
class ServiceTest : public testing::Test {
 protected:
  void SetUp() override { ::setenv("HOME", home().c_str(), 1); }
  void TearDown() override {
    ServiceDirectories::unregisterAll();
    for (const char* service : {"SSHHelper", "WorkingCopyScanner"}) killService(service);
  }

  static const QRBSourceControlManagerPtr& manager() { return QRBSourceControlManager::sharedInstance(); }
  std::string home() const { return _home.string(); }

  /// From now on, a service or plug-in of that name is the test plug-in in that mode.
  void useTestPlugIn(const std::string& name, const std::string& mode) {
    std::filesystem::path folder = _links.path() / name / mode;
    std::filesystem::create_directories(folder);
    std::filesystem::create_symlink(QRB_TEST_PLUGIN, folder / ("org.qrb.Orlix.sourcecontrol." + name));
    ServiceDirectories::registerDirectory(folder.string());
  }

  /// The processes of a service or plug-in of that name that this process launched.
  static std::vector<pid_t> processesOf(const std::string& name) {
    std::vector<pid_t> result;
    for (const ProcessEntry& entry : childProcesses()) {
      std::string program = textOf("/proc/" + std::to_string(entry.id) + "/cmdline");
      if (program.substr(0, program.find('\0')).ends_with("." + name)) result.push_back(entry.id);
    }
    return result;
  }
  /// Waits until there is one.
  static pid_t awaitProcessOf(const std::string& name) {
    auto deadline = std::chrono::steady_clock::now() + kPatience;
    while (std::chrono::steady_clock::now() < deadline) {
      if (auto found = processesOf(name); !found.empty()) return found.front();
      std::this_thread::yield();
    }
    ADD_FAILURE() << "no process of " << name << " was launched";
    return -1;
  }
  /// Kills every process of that name and waits for its end.
  static void killService(const std::string& name) {
    for (pid_t process : processesOf(name)) {
      FileDescriptor end(static_cast<int>(::syscall(SYS_pidfd_open, process, 0)));
      ::kill(process, SIGKILL);
      pollfd over{end.get(), POLLIN, 0};
      if (end.valid()) ::poll(&over, 1, -1);
    }
  }

  static QRBSourceControlSystemPtr system(const std::string& name, const String& folderIdentifier) {
    return QRBSourceControlSystem::initWithName(name, "org.qrb.Orlix.sourcecontrol." + name, "1", folderIdentifier, {},
                                                true, true, false, false, false, 7);
  }

 private:
  TemporaryDirectory _home;
  TemporaryDirectory _links;
};

}  // namespace qrb::test
