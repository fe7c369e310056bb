#pragma once

#include <fstream>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "EngineTesting.h"
#include "QRBSourceControlError.h"
#include "QRBSourceControlWorkspace.h"
#include "QRBSourceControlWorkspaceBlueprint.h"

namespace qrb::test {

using Workspace = QRBSourceControlWorkspace;
using Blueprint = QRBSourceControlWorkspaceBlueprint;
using WorkspacePtr = QRBSourceControlWorkspacePtr;
using BlueprintPtr = QRBSourceControlWorkspaceBlueprintPtr;
using WorkingCopyPtr = QRBSourceControlWorkingCopyPtr;
using RemotePtr = QRBSourceControlRemoteRepositoryPtr;
using BranchPtr = QRBSourceControlBranchPtr;

inline constexpr std::int64_t kAbandoned = -400;

/// Tests of actions of many requests, against a plug-in that answers each as a script says.
class ScriptedTest : public EngineTest {
 protected:
  void SetUp() override {
    EngineTest::SetUp();
    usePlugIn("scripted");
    std::filesystem::path plugIn = scriptFolder() / "org.qrb.Orlix.sourcecontrol.Git";
    std::filesystem::remove(plugIn);
    std::filesystem::create_symlink(QRB_SCRIPTED_PLUGIN, plugIn);
    std::filesystem::create_symlink(std::string(QRB_SERVICES) + "/org.qrb.Orlix.sourcecontrol.WorkingCopyScanner",
                                    scriptFolder() / "org.qrb.Orlix.sourcecontrol.WorkingCopyScanner");
    script(nlohmann::json::object());
  }

  /// What each "<message> <name>" is answered from now on.
  void script(const nlohmann::json& entries) { std::ofstream(scriptFolder() / "script") << entries; }

  /// What the plug-in was asked so far, in order: "<message> <name>", and what came with it behind " | ".
  std::vector<std::string> asked() const {
    std::vector<std::string> lines;
    std::ifstream file(scriptFolder() / "log");
    for (std::string line; std::getline(file, line);) lines.push_back(line);
    return lines;
  }
  /// Waits until the plug-in is asked that.
  void awaitAsked(const std::string& beginning) const {
    auto deadline = std::chrono::steady_clock::now() + kPatience;
    while (std::chrono::steady_clock::now() < deadline) {
      for (const std::string& line : asked()) {
        if (line.starts_with(beginning)) return;
      }
      std::this_thread::yield();
    }
    ADD_FAILURE() << "the plug-in was never asked: " << beginning;
  }

  static QRBSourceControlSystemPtr systemWith(bool layouts, bool subpaths) {
    return QRBSourceControlSystem::initWithName("Test", "org.qrb.Orlix.sourcecontrol.Git", "1", ".git", {}, true, true,
                                                true, subpaths, layouts, 7);
  }
  static WorkingCopyPtr copyAt(const std::string& path, const String& identifier = {}) {
    URL url = URL::fileURL(path, true);
    return QRBSourceControlWorkingCopy::initWithFileURLUnidentifiableRepository(
        url, QRBSourceControlRepository::initWithURL(url, identifier, system()));
  }
  static RemotePtr remote(const std::string& name, const QRBSourceControlSystemPtr& of = system()) {
    return QRBSourceControlRemoteRepository::initUnsavedWithURL(URL("git://server/" + name), String(name), of);
  }
  static BranchPtr branch(const std::string& name) { return QRBSourceControlBranch::initWithBranchName(name, false); }

  /// Three working copies side by side, the second of them primary.
  WorkspacePtr workspace() const {
    return Workspace::initWithPrimaryWorkingCopy(beta, "App.orlixproj", {alpha, beta, gamma});
  }

  WorkingCopyPtr alpha = copyAt("/disk/alpha", "id-alpha");
  WorkingCopyPtr beta = copyAt("/disk/beta", "id-beta");
  WorkingCopyPtr gamma = copyAt("/disk/gamma", "id-gamma");

  std::filesystem::path scriptFolder() const { return plugInFolder("scripted"); }
};

/// Keeps a queue from starting what is added to it, until it is let go.
class HeldQueue {
 public:
  explicit HeldQueue(OperationQueue& queue) : _queue(queue) {
    _queue.setMaxConcurrentOperationCount(1);
    auto released = _release.get_future().share();
    _queue.addOperation(std::make_shared<BlockOperation>([released] { released.wait(); }));
  }
  void release() { _release.set_value(); }

 private:
  OperationQueue& _queue;
  std::promise<void> _release;
};

}  // namespace qrb::test
