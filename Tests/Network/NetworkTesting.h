#pragma once

#include <signal.h>

#include <fstream>
#include <functional>
#include <iterator>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "Descriptors.h"
#include "GitPlugInTesting.h"
#include "QRBSourceControlBasicAuthenticationStrategy.h"
#include "QRBSourceControlBranch.h"
#include "QRBSourceControlRemoteRepository.h"
#include "QRBSourceControlSSHKeysAuthenticationStrategy.h"
#include "QRBSourceControlTag.h"
#include "ServiceReservePrivate.h"

namespace qrb::test {

using Strategy = QRBSourceControlAuthenticationStrategyPtr;
using Remote = QRBSourceControlRemoteRepositoryPtr;

/// Every text and fraction that a request reported.
class ProgressLog {
 public:
  QRBSourceControlProgressBlock block() {
    return [this](const String&, double fraction) {
      std::lock_guard lock(_mutex);
      _fractions.push_back(fraction);
    };
  }
  std::vector<double> fractions() {
    std::lock_guard lock(_mutex);
    return _fractions;
  }
  /// From 0 to 1, in steps between, and never back.
  void expectWhole() {
    std::vector<double> seen = fractions();
    ASSERT_GE(seen.size(), 3u);
    EXPECT_EQ(seen.front(), 0);
    EXPECT_EQ(seen.back(), 1);
    EXPECT_TRUE(std::is_sorted(seen.begin(), seen.end())) << testing::PrintToString(seen);
  }

 private:
  std::mutex _mutex;
  std::vector<double> _fractions;
};

/// Requests that reach remote repositories, in a home folder of the test's own and with no agent.
class NetworkTest : public GitPlugInTest {
 protected:
  void SetUp() override {
    _home = _folder.string() + "/home";
    std::filesystem::create_directories(_home + "/.ssh");
    std::filesystem::create_directories(_folder.string() + "/temporary");
    // Others get through to what a server of the test hands out.
    std::filesystem::permissions(_folder.path(), std::filesystem::perms(0755));
    setVariable("HOME", _home);
    setVariable("TMPDIR", _folder.string() + "/temporary");
    setVariable("GIT_AUTHOR_NAME", "Ada");
    setVariable("GIT_AUTHOR_EMAIL", "ada@example.org");
    setVariable("GIT_COMMITTER_NAME", "Ada");
    setVariable("GIT_COMMITTER_EMAIL", "ada@example.org");
    setVariable("SSH_AUTH_SOCK", std::nullopt);
    setVariable("DISPLAY", std::nullopt);
  }
  void TearDown() override {
    for (const auto& [name, value] : _variables) {
      value ? ::setenv(name.c_str(), value->c_str(), 1) : ::unsetenv(name.c_str());
    }
    manager()->setFailureHandler(nullptr);
    ServiceReserve::shared().clear();
  }

  /// For the plug-ins launched from now on; as it was after the test.
  void setVariable(const std::string& name, const std::optional<std::string>& value) {
    const char* const before = ::getenv(name.c_str());
    _variables.emplace(name, before != nullptr ? std::optional<std::string>(before) : std::nullopt);
    value ? ::setenv(name.c_str(), value->c_str(), 1) : ::unsetenv(name.c_str());
    // One that was launched ahead has the old ones.
    ServiceReserve::shared().clear();
  }

  std::string pathOf(const std::string& name) const { return _folder.string() + "/" + name; }
  const std::string& home() const { return _home; }

  static Remote remoteAt(const std::string& url, const Strategy& strategy = nullptr) {
    return QRBSourceControlRemoteRepository::initWithURLUnsavedAuthenticationStrategy(
        URL(url), system(), strategy ? strategy : QRBSourceControlAuthenticationStrategy::sharedAnonymousStrategy());
  }
  static Strategy passwordOf(const std::string& user, const std::string& password) {
    return QRBSourceControlBasicAuthenticationStrategy::initWithUsername(user, password);
  }
  static Strategy keyAt(const std::string& path, const std::string& passphrase = "", const std::string& user = "") {
    return QRBSourceControlSSHKeysAuthenticationStrategy::initWithUsername(user, URL::fileURL(path), passphrase);
  }
  static QRBSourceControlBranchPtr branch(const std::string& name) {
    return QRBSourceControlBranch::initWithBranchName(name, false);
  }

  static Error validate(const Remote& remote, const QRBSourceControlRevisionLocationPtr& location = nullptr) {
    Reply<> reply;
    remote->validateAuthenticationForLocation(location, nullptr, reply.completion());
    return std::get<0>(reply.wait());
  }
  static Error fetch(const Remote& remote, const std::string& root, ProgressLog* progress = nullptr) {
    Reply<> reply;
    repositoryAt(root)->downloadUpdatesFromRemoteRepository(
        remote, progress != nullptr ? progress->block() : QRBSourceControlProgressBlock(), reply.completion());
    return std::get<0>(reply.wait());
  }
  static Error push(const Remote& remote, const std::string& root, const QRBSourceControlBranchPtr& to = nullptr,
                    ProgressLog* progress = nullptr) {
    Reply<> reply;
    repositoryAt(root)->uploadCommitsToRemoteRepository(
        remote, to, progress != nullptr ? progress->block() : QRBSourceControlProgressBlock(), reply.completion());
    return std::get<0>(reply.wait());
  }
  static Error update(const std::string& root, const Remote& remote) {
    Reply<> reply;
    workingCopyAt(root)->forceUpdateWorkingCopyFromRepository(remote, {}, reply.completion());
    return std::get<0>(reply.wait());
  }
  static auto clone(const Remote& remote, const std::string& path,
                    const QRBSourceControlRevisionLocationPtr& location = nullptr, ProgressLog* progress = nullptr) {
    Reply<QRBSourceControlWorkingCopyPtr> reply;
    remote->createWorkingCopyAtURL(URL::fileURL(path, true), location, nullptr,
                                   progress != nullptr ? progress->block() : QRBSourceControlProgressBlock(),
                                   reply.completion());
    return reply.wait();
  }
  static Error cloneError(const Remote& remote, const std::string& path,
                          const QRBSourceControlRevisionLocationPtr& location = nullptr) {
    return std::get<1>(clone(remote, path, location));
  }

  static std::string textOf(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
  }
  /// The names in a folder, hidden ones included.
  static std::vector<std::string> namesIn(const std::string& folder) {
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(folder)) names.push_back(entry.path().filename());
    std::sort(names.begin(), names.end());
    return names;
  }
  /// Runs git where a test has something to look at; the output is without the line's end.
  static std::string git(const std::string& folder, std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), {"git", "-c", "safe.directory=*"});
    const char* const path = ::getenv("PATH");
    ProgramResult result = runProgram(
        arguments,
        {std::string("PATH=") + path, "HOME=/nonexistent", "GIT_CONFIG_NOSYSTEM=1", "GIT_CONFIG_GLOBAL=/dev/null"},
        folder);
    EXPECT_EQ(result.status, 0) << result.output;
    return result.output.substr(0, result.output.find_last_not_of('\n') + 1);
  }

 private:
  TemporaryDirectory _folder;
  std::string _home;
  std::map<std::string, std::optional<std::string>> _variables;
};

/// What a request of this process has running: the plug-in's session.
inline std::vector<ProcessEntry> plugInProcesses() {
  std::vector<ProcessEntry> result;
  for (const ProcessEntry& child : childProcesses()) {
    if (child.session != child.id) continue;
    for (const ProcessEntry& member : processesOfSession(child.session)) result.push_back(member);
  }
  return result;
}

}  // namespace qrb::test
