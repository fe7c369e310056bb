#pragma once

#include <stdlib.h>

#include <string>
#include <vector>

#include "EngineTesting.h"
#include "RunningServices.h"

namespace qrb::test {

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

  /// From now on, a service or plug-in of that name is the test plug-in in that mode, or, where that is "missing",
  /// nothing that could be launched.
  void useTestPlugIn(const std::string& name, const std::string& mode) {
    std::filesystem::path folder = _links.path() / name / mode;
    std::filesystem::create_directories(folder);
    std::filesystem::path program = mode == "missing" ? _links.path() : QRB_TEST_PLUGIN;
    std::filesystem::path link = folder / ("org.qrb.Orlix.sourcecontrol." + name);
    if (!std::filesystem::is_symlink(link)) std::filesystem::create_symlink(program, link);
    // The first that has the name counts, which is to be this one.
    std::vector<std::string> earlier = ServiceDirectories::directories();
    ServiceDirectories::unregisterAll();
    ServiceDirectories::registerDirectory(folder.string());
    for (const std::string& directory : earlier) {
      if (directory.starts_with(_links.string())) ServiceDirectories::registerDirectory(directory);
    }
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
  static QRBSourceControlSystemPtr system(const std::string& name, const String& folderIdentifier) {
    return QRBSourceControlSystem::initWithName(name, "org.qrb.Orlix.sourcecontrol." + name, "1", folderIdentifier, {},
                                                true, true, false, false, false, 7);
  }

 private:
  TemporaryDirectory _home;
  TemporaryDirectory _links;
};

}  // namespace qrb::test
