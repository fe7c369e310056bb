#pragma once

#include <map>
#include <optional>
#include <string>
#include <vector>

#include "GitDaemon.h"
#include "GitRepository.h"
#include "RunningServices.h"
#include "ServiceReservePrivate.h"
#include "WorkspaceTesting.h"

namespace qrb::test {

using CheckoutOutcome = Outcome<WorkspacePtr, QRBSourceControlWorkingCopyRemotesPtr, Blueprint::ErrorsPtr>;

/// Tests with git itself: repositories served by its own daemon, and a blueprint of them.
class RealWorkspaceTest : public EngineTest {
 protected:
  static constexpr int kRepositories = 12;

  void SetUp() override {
    setVariable("HOME", (_folder.path() / "home").string());
    setVariable("GIT_CONFIG_NOSYSTEM", "1");
    EngineTest::SetUp();
    ServiceDirectories::unregisterAll();
    ServiceDirectories::registerDirectory(QRB_SERVICES);
  }
  void TearDown() override {
    settleEverything();
    EngineTest::TearDown();
    for (const auto& [name, value] : _variables) {
      value ? ::setenv(name.c_str(), value->c_str(), 1) : ::unsetenv(name.c_str());
    }
  }

  /// Waits also for what a plug-in leaves to a process of its own to remove.
  void settleEverything() {
    settleProcesses();
    auto deadline = std::chrono::steady_clock::now() + kPatience;
    while (!descendants().empty() && std::chrono::steady_clock::now() < deadline) std::this_thread::yield();
  }

  /// Serves one more repository, with the branches main and topic, and adds it to the blueprint.
  RemotePtr serve(const BlueprintPtr& blueprint, const std::string& name, const std::string& path) {
    GitRepository source;
    source.write(name, "the first");
    std::string identifier = source.commit("begin " + name);
    source.run({"branch", "topic"});
    source.write("file", std::string(10'000, 'x'));
    source.commit("go on with " + name);
    source.run({"clone", "-q", "--bare", source.root(), servedAt(name)});
    auto remote = QRBSourceControlRemoteRepository::initUnsavedWithURL(URL(_daemon.url(name + ".git")),
                                                                       String(identifier), system());
    blueprint->addRemoteRepository(remote, path, {}, nullptr, mainBranch());
    return remote;
  }
  /// Of a project at "App", one within it, and the others below "Libraries".
  BlueprintPtr servedBlueprint() {
    auto blueprint = Blueprint::init();
    auto app = serve(blueprint, "app", "App");
    serve(blueprint, "nested", "App/Nested Ünit");
    for (int number = 2; number < kRepositories; ++number) {
      std::string name = "lib" + std::to_string(number);
      serve(blueprint, name, "Libraries/" + name);
    }
    blueprint->setPrimaryRemoteRepository(app);
    blueprint->setRelativePathToProject("App.orlixproj");
    blueprint->setName("App");
    return blueprint;
  }
  static QRBSourceControlBranchPtr mainBranch() {
    return QRBSourceControlBranch::initWithBranchNameRemoteName("main", true, "origin");
  }

  std::string servedAt(const std::string& name) const { return (_served / (name + ".git")).string(); }
  std::filesystem::path root(const std::string& name = "work") const { return _folder.path() / name; }
  URL rootURL(const std::string& name = "work") const { return URL::fileURL(root(name).string(), true); }

  CheckoutOutcome::Result checkOut(const BlueprintPtr& blueprint, const std::string& where = "work") {
    auto outcome = CheckoutOutcome::make();
    blueprint->createWorkingCopiesAtURL(rootURL(where), {}, outcome->completion());
    return outcome->wait();
  }
  WorkspacePtr find(const BlueprintPtr& blueprint, const std::string& where = "work") {
    auto outcome = Outcome<WorkspacePtr, QRBSourceControlWorkingCopyRemotesPtr>::make();
    blueprint->workspaceForWorkingCopiesCreatedAtURL(rootURL(where), outcome->completion());
    EXPECT_FALSE(outcome->error()) << outcome->error().description();
    // It would be kept, and be mistaken for something that a test has left.
    killService("WorkingCopyScanner");
    return std::get<0>(outcome->wait());
  }
  /// Runs git in a folder, with the identity of a tester.
  std::string git(const std::filesystem::path& folder, std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), {"git", "-c", "user.name=Ada", "-c", "user.email=ada@example.org"});
    ProgramResult result = runProgram(arguments,
                                      {std::string("PATH=") + ::getenv("PATH"), "HOME=" + root("home").string(),
                                       "GIT_CONFIG_NOSYSTEM=1", "GIT_TERMINAL_PROMPT=0", "LC_ALL=C.UTF-8"},
                                      folder.string());
    EXPECT_EQ(result.status, 0) << testing::PrintToString(arguments) << " in " << folder << ": " << result.output;
    while (result.output.ends_with('\n')) result.output.pop_back();
    return result.output;
  }

  /// For the processes launched from now on; as it was after the test.
  void setVariable(const std::string& name, const std::string& value) {
    const char* const before = ::getenv(name.c_str());
    _variables.emplace(name, before != nullptr ? std::optional<std::string>(before) : std::nullopt);
    ::setenv(name.c_str(), value.c_str(), 1);
    ServiceReserve::shared().clear();
  }

 private:
  TemporaryDirectory _folder;
  std::filesystem::path _served = _folder.path() / "served";
  bool _hasServed = std::filesystem::create_directories(_served);
  GitDaemon _daemon{_served.string()};
  std::map<std::string, std::optional<std::string>> _variables;
};

}  // namespace qrb::test
