#include "GitHTTPServer.h"
#include "NetworkTesting.h"

// Repositories that somebody hostile has made, and what comes of reaching a server from them with a login.
namespace qrb::test {
namespace {

using testing::HasSubstr;
using testing::Not;

using Settings = std::vector<std::pair<std::string, std::string>>;

class HostileConfigurationTest : public NetworkTest {
 protected:
  void SetUp() override {
    NetworkTest::SetUp();
    if (!GitHTTPServer::isInstalled()) GTEST_SKIP() << "Apache is not installed";
    // They would win over every setting, and some machines set them.
    for (const char* name : {"GIT_SSL_CAINFO", "GIT_SSL_CAPATH", "http_proxy"}) setVariable(name, std::nullopt);
    _origin.write("file", "1");
    _origin.commit("one");
    _certificate = TestCertificate::make(pathOf("home"), "server");
    _server = std::make_unique<GitHTTPServer>(pathOf("served"), GitHTTPServer::Options{_certificate});
    _server->serve("origin.git", _origin.root());
    _other = std::make_unique<GitHTTPServer>(pathOf("other"), GitHTTPServer::Options{_certificate});
    _other->serve("origin.git", _origin.root());
    _program = pathOf("program");
    std::ofstream(_program) << "#!/bin/sh\n" << marking() << "\n";
    std::filesystem::permissions(_program, std::filesystem::perms(0755));
  }
  static Strategy ada() { return passwordOf(GitHTTPServer::user, GitHTTPServer::password); }
  std::string url() const { return _server->url("/private/origin.git"); }
  std::string marking() const { return "touch '" + pathOf("mark") + "'"; }
  bool wasRun() const { return std::filesystem::remove(pathOf("mark")); }
  GitRepository cloneWith(const Settings& settings, const std::string& address) const {
    GitRepository clone = GitRepository::cloneOf(_origin.root());
    clone.run({"remote", "set-url", "origin", address});
    for (const auto& [name, value] : settings) clone.run({"config", "--add", name, value});
    return clone;
  }

  GitRepository _origin;
  TestCertificate _certificate;
  std::unique_ptr<GitHTTPServer> _server;
  std::unique_ptr<GitHTTPServer> _other;
  std::string _program;
};

TEST_F(HostileConfigurationTest, reachingAServerRunsNoProgramThatTheRepositoryNames) {
  std::string run = marking() + "; false";
  std::string remote = "remote.qrb-request.";
  std::vector<Settings> cases = {
      {{"credential.helper", "!" + run}},
      {{"credential." + _server->url("/") + ".helper", "!" + run}},
      {{"core.askPass", _program}},
      {{"core.sshCommand", run}, {"url.ssh://127.0.0.1:1/.insteadOf", _server->url("/")}},
      {{"core.gitProxy", _program}, {"url.git://127.0.0.1:1/.insteadOf", _server->url("/")}},
      {{remote + "url", _origin.root()}, {remote + "uploadpack", run}, {remote + "receivepack", run}},
      {{remote + "vcs", "ext"}, {remote + "url", "ext::sh -c '" + run + "'"}},
      {{"remote.origin.uploadpack", run},
       {"remote.origin.receivepack", run},
       {"url." + _origin.root() + ".insteadOf", url()}},
      {{"core.alternateRefsCommand", run}},
      {{"core.fsmonitor", run}, {"core.pager", run}, {"alias.fetch", "!" + run}},
      {{"push.gpgSign", "true"}, {"gpg.program", _program}},
      {{"push.gpgSign", "true"}, {"gpg.format", "ssh"}, {"gpg.ssh.defaultKeyCommand", run}, {"gpg.ssh.program", run}},
  };
  for (const Settings& settings : cases) {
    for (const Strategy& strategy : {ada(), Strategy()}) {
      GitRepository clone = cloneWith(settings, url());
      clone.write(".git/objects/info/alternates", _origin.root() + "/.git/objects\n");
      clone.commit("two");
      wasRun();
      fetch(remoteAt(url(), strategy), clone.root());
      EXPECT_FALSE(wasRun()) << "fetching with " << settings.front().first;
      push(remoteAt(url(), strategy), clone.root());
      EXPECT_FALSE(wasRun()) << "pushing with " << settings.front().first;
      update(clone.root(), remoteAt(url(), strategy));
      EXPECT_FALSE(wasRun()) << "updating with " << settings.front().first;
    }
  }
}

TEST_F(HostileConfigurationTest, fetchingRunsNoHook) {
  GitRepository clone = cloneWith({}, url());
  clone.write(".git/hooks/reference-transaction", "#!/bin/sh\n" + marking() + "\n");
  std::filesystem::permissions(clone.pathOf(".git/hooks/reference-transaction"), std::filesystem::perms(0755));
  clone.run({"update-ref", "-d", "refs/remotes/origin/main"});
  wasRun();
  Error error = fetch(remoteAt(url(), ada()), clone.root());
  EXPECT_FALSE(error) << error.description() << underlyingMessage(error);
  EXPECT_FALSE(wasRun());
  EXPECT_EQ(clone.run({"rev-parse", "origin/main"}), _origin.head());
}

TEST_F(HostileConfigurationTest, theHookThatAPushRunsCanLogInWhereThePushGoesAndNowhereElse) {
  GitRepository clone = cloneWith({}, url());
  clone.commit("two");
  std::string hook = "#!/bin/sh\n";
  auto ask = [&](const std::string& address, const std::string& file) {
    hook += "printf 'url=%s\\n\\n' '" + address + "' | git credential fill > '" + pathOf(file) + "' 2>&1\n";
  };
  // As what sends large files along does, which is no part of git.
  ask(url(), "asked here");
  ask(_other->url("/private/origin.git"), "asked elsewhere");
  clone.write(".git/hooks/pre-push", hook + "true\n");
  std::filesystem::permissions(clone.pathOf(".git/hooks/pre-push"), std::filesystem::perms(0755));
  Error error = push(remoteAt(url(), ada()), clone.root(), branch("main"));
  EXPECT_FALSE(error) << error.description() << underlyingMessage(error);
  EXPECT_THAT(textOf(pathOf("asked here")), HasSubstr(std::string("password=") + GitHTTPServer::password));
  EXPECT_THAT(textOf(pathOf("asked elsewhere")), HasSubstr("could not read Username"));
}

TEST_F(HostileConfigurationTest, aPasswordGoesWhereTheRequestSaysByNoOtherWay) {
  std::vector<Settings> cases = {
      {{"http.proxy", _other->url("")}},
      {{"http." + url() + ".proxy", _other->url("")}},
      {{"remote.origin.proxy", _other->url("")}},
      {{"url." + _other->url("/") + ".insteadOf", _server->url("/")}},
      {{"url." + _other->url("/") + ".pushInsteadOf", _server->url("/")}},
      {{"remote.origin.pushurl", _other->url("/private/origin.git")}},
  };
  for (const Settings& settings : cases) {
    GitRepository clone = cloneWith(settings, url());
    clone.commit("two");
    fetch(remoteAt(url(), ada()), clone.root());
    push(remoteAt(url(), ada()), clone.root());
    EXPECT_THAT(_other->requests(), Not(HasSubstr("Basic"))) << settings.front().first;
  }
  EXPECT_THAT(_server->requests(), HasSubstr("Basic")) << "what leads elsewhere is passed over";
}

TEST_F(HostileConfigurationTest, noServerIsTrustedBecauseTheRepositorySaysSo) {
  std::string address = _server->secureURL("/private/origin.git");
  std::vector<Settings> cases = {
      {{"http.sslVerify", "false"}},
      {{"http." + address + ".sslVerify", "false"}},
      {{"http.sslCAInfo", _certificate.certificate}},
  };
  for (const Settings& settings : cases) {
    GitRepository clone = cloneWith(settings, address);
    clone.commit("two");
    for (const Error& error :
         {fetch(remoteAt(address, ada()), clone.root()), push(remoteAt(address, ada()), clone.root())}) {
      EXPECT_TRUE(has(error, Code::authenticationSSLCertificateInvalid))
          << settings.front().first << ": " << error.description() << underlyingMessage(error);
    }
  }
  EXPECT_THAT(_server->requests(), Not(HasSubstr("Basic")));
}

TEST_F(HostileConfigurationTest, whomTheUserTrustsEverywhereIsTrusted) {
  std::ofstream(pathOf("global")) << "[http]\n\tsslCAInfo = " << _certificate.certificate << "\n";
  setVariable("GIT_CONFIG_GLOBAL", pathOf("global"));
  std::string address = _server->secureURL("/private/origin.git");
  GitRepository clone = cloneWith({{"http.sslCAInfo", "/nonexistent"}}, address);
  Error error = fetch(remoteAt(address, ada()), clone.root());
  EXPECT_FALSE(error) << error.description() << underlyingMessage(error);
}

TEST_F(HostileConfigurationTest, aTrustedFingerprintCountsWhateverTheRepositoryPins) {
  std::string address = _server->secureURL("/private/origin.git");
  GitRepository clone = cloneWith({{"http." + address + ".pinnedPubkey", "sha256//AAAA"},
                                   {"http." + address + ".sslVerify", "true"},
                                   {"http.pinnedPubkey", "sha256//AAAA"}},
                                  address);
  Remote remote = remoteAt(address, ada());
  remote->setTrustedServerFingerprint(_certificate.fingerprint());
  Error error = fetch(remote, clone.root());
  EXPECT_FALSE(error) << error.description() << underlyingMessage(error);
}

TEST_F(HostileConfigurationTest, nothingIsWrittenOutsideTheRepository) {
  std::ofstream(pathOf("precious")) << "mine";
  GitRepository clone = cloneWith({{"http.cookieFile", pathOf("precious")}, {"http.saveCookies", "true"}}, url());
  EXPECT_FALSE(fetch(remoteAt(url(), ada()), clone.root()));
  EXPECT_EQ(textOf(pathOf("precious")), "mine");
}

}  // namespace
}  // namespace qrb::test
