#include <sys/resource.h>

#include <algorithm>

#include "GitHTTPServer.h"
#include "NetworkTesting.h"
#include "SSHServer.h"

namespace qrb::test {
namespace {

using testing::HasSubstr;
using testing::Not;

/// Looks around while a server holds up a request that it has let in.
class SecrecyTest : public NetworkTest {
 protected:
  void SetUp() override {
    NetworkTest::SetUp();
    _origin.write("file", "1");
    _origin.commit("one");
    _clone.run({"remote", "set-url", "origin", "placeholder:"});
  }

  /// Every command line, environment and file that there is of the request has no such text in it.
  void expectNowhere(const std::string& secret) {
    std::vector<ProcessEntry> processes = plugInProcesses();
    // The plug-in, git, and what git talks to the server with.
    EXPECT_GE(processes.size(), 3u);
    for (const ProcessEntry& process : processes) {
      for (const char* file : {"cmdline", "environ"}) {
        EXPECT_THAT(textOfProcess(process.id, file), Not(HasSubstr(secret))) << process.name << " " << file;
      }
    }
    for (const std::string& folder : {home(), pathOf("temporary"), _clone.root()}) {
      for (const auto& entry : std::filesystem::recursive_directory_iterator(folder)) {
        if (!entry.is_regular_file()) continue;
        EXPECT_THAT(textOf(entry.path()), Not(HasSubstr(secret))) << entry.path();
      }
    }
  }

  /// The origin, for which one has to log in.
  Remote remoteOf(GitHTTPServer& server, const TestCertificate& certificate) {
    server.serve("origin.git", _origin.root());
    const Remote remote =
        remoteAt(server.secureURL("/private/origin.git"), passwordOf(GitHTTPServer::user, GitHTTPServer::password));
    remote->setTrustedServerFingerprint(certificate.fingerprint());
    return remote;
  }

  /// Each request that reaches a remote, held up when it has been let in, looked at, and let go on.
  void lookAtEveryRequest(const Remote& remote, const TestGate& gate, const std::string& secret) {
    _clone.run({"remote", "set-url", "origin", remote->URL().withoutPassword().absoluteString().str()});
    auto look = [&](const char* what, const auto& request) {
      SCOPED_TRACE(what);
      gate.close();
      auto answer = std::async(std::launch::async, request);
      EXPECT_TRUE(gate.awaitArrival());
      expectNowhere(secret);
      gate.open();
      Error error = answer.get();
      EXPECT_FALSE(error) << error.description() << underlyingMessage(error);
    };
    look("validate", [&] { return validate(remote); });
    look("fetch", [&] { return fetch(remote, _clone.root()); });
    look("update", [&] { return update(_clone.root(), remote); });
    _clone.commit("more");
    look("push", [&] { return push(remote, _clone.root()); });
    look("clone", [&] { return cloneError(remote, pathOf("cloned")); });
    EXPECT_THAT(textOf(pathOf("cloned/.git/config")), Not(HasSubstr(secret)));
  }

  GitRepository _origin;
  GitRepository _clone = GitRepository::cloneOf(_origin.root());
};

TEST_F(SecrecyTest, aPasswordIsInNoCommandLineEnvironmentOrFile) {
  if (!GitHTTPServer::isInstalled()) GTEST_SKIP() << "Apache is not installed";
  TestCertificate certificate = TestCertificate::make(home(), "server");
  GitHTTPServer server(pathOf("served"), {certificate});
  Remote remote = remoteOf(server, certificate);
  // A part of it, which no encoding changes.
  lookAtEveryRequest(remote, server.gate(), "s3cr3t");
}

TEST_F(SecrecyTest, aRequestThatDiesLeavesNoCoreFileOfAnyOfItsProcesses) {
  if (!GitHTTPServer::isInstalled()) GTEST_SKIP() << "Apache is not installed";
  if (std::string pattern = textOf("/proc/sys/kernel/core_pattern"); pattern.find_first_of("/|") == 0) {
    GTEST_SKIP() << "core files are not made where a process works";
  }
  TestCertificate certificate = TestCertificate::make(home(), "server");
  GitHTTPServer server(pathOf("served"), {certificate});
  Remote remote = remoteOf(server, certificate);
  // Plug-ins work where their host does, and git in the clone.
  std::filesystem::create_directory(pathOf("work"));
  std::filesystem::path before = std::filesystem::current_path();
  std::filesystem::current_path(pathOf("work"));
  rlimit limit{};
  ::getrlimit(RLIMIT_CORE, &limit);
  rlimit highest{limit.rlim_max, limit.rlim_max};
  ::setrlimit(RLIMIT_CORE, &highest);
  ServiceReserve::shared().clear();
  _clone.run({"remote", "set-url", "origin", remote->URL().absoluteString().str()});
  server.gate().close();
  auto answer = std::async(std::launch::async, [&] { return fetch(remote, _clone.root()); });
  EXPECT_TRUE(server.gate().awaitArrival());
  std::vector<ProcessEntry> processes = plugInProcesses();
  EXPECT_GE(processes.size(), 3u);
  // Stopped first, since one that sees another die ends by itself.
  for (int signal : {SIGSTOP, SIGABRT, SIGCONT}) {
    for (const ProcessEntry& process : processes) EXPECT_EQ(::kill(process.id, signal), 0) << process.name;
  }
  EXPECT_TRUE(answer.get());
  server.gate().open();
  std::filesystem::current_path(before);
  ::setrlimit(RLIMIT_CORE, &limit);
  for (const std::string& folder : {pathOf("work"), _clone.root()}) {
    for (const auto& entry : std::filesystem::recursive_directory_iterator(folder)) {
      EXPECT_FALSE(entry.path().filename().string().starts_with("core")) << entry.path();
    }
  }
}

TEST_F(SecrecyTest, aPassphraseIsInNoCommandLineEnvironmentOrFile) {
  if (!SSHServer::isInstalled()) GTEST_SKIP() << "no SSH server is installed";
  _origin.run({"clone", "-q", "--bare", _origin.root(), pathOf("origin.git")});
  std::string passphrase = "correct-horse-battery";
  makeSSHKey(pathOf("server/host"));
  makeSSHKey(pathOf("keys/protected"), passphrase);
  std::ofstream(pathOf("server/admitted")) << textOf(pathOf("keys/protected.pub"));
  std::filesystem::create_directory(pathOf("gate"));
  TestGate gate(pathOf("gate"));
  std::ofstream(pathOf("server/command")) << gate.script() << "eval exec \"$SSH_ORIGINAL_COMMAND\"\n";
  SSHServer server(pathOf("server"), "ForceCommand sh " + pathOf("server/command") + "\n");
  std::ofstream(home() + "/.ssh/known_hosts") << server.knownHostLine(pathOf("server/host.pub"));
  std::string url = "ssh://" + SSHServer::user() + "@127.0.0.1:" + std::to_string(server.port());
  lookAtEveryRequest(remoteAt(url + pathOf("origin.git"), keyAt(pathOf("keys/protected"), passphrase)), gate,
                     passphrase);
}

}  // namespace
}  // namespace qrb::test
