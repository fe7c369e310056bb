#include "GitHTTPServer.h"
#include "NetworkTesting.h"

namespace qrb::test {
namespace {

using testing::HasSubstr;
using testing::Not;

class HTTPTest : public NetworkTest {
 protected:
  void SetUp() override {
    NetworkTest::SetUp();
    if (!GitHTTPServer::isInstalled()) GTEST_SKIP() << "Apache is not installed";
    _origin.write("file", "1");
    _one = _origin.commit("one");
    _certificate = TestCertificate::make(pathOf("home"), "server");
    start({_certificate});
  }
  void start(const GitHTTPServer::Options& options) {
    _server.reset();
    std::filesystem::remove_all(pathOf("served"));
    _server = std::make_unique<GitHTTPServer>(pathOf("served"), options);
    _server->serve("origin.git", _origin.root());
  }
  GitHTTPServer& server() { return *_server; }
  static Strategy ada() { return passwordOf(GitHTTPServer::user, GitHTTPServer::password); }
  Remote trusting(const std::string& fingerprint, bool isEnforced = true) {
    Remote remote = remoteAt(server().secureURL("/private/origin.git"), ada());
    remote->setTrustedServerFingerprint(fingerprint);
    remote->setEnforceTrustedServerFingerprint(isEnforced);
    return remote;
  }
  /// For the one authority that the tools of the test trust.
  void trustAuthority(const std::string& certificate) { setVariable("GIT_SSL_CAINFO", certificate); }

  GitRepository _origin;
  std::string _one;
  TestCertificate _certificate;
  std::unique_ptr<GitHTTPServer> _server;
};

TEST_F(HTTPTest, eachWayOfLoggingInEndsAsItShould) {
  std::string open = server().url("/git/origin.git");
  std::string closed = server().url("/private/origin.git");
  std::string forbidden = server().url("/forbidden/origin.git");
  Strategy wrong = passwordOf(GitHTTPServer::user, "wrong");
  const struct {
    const char* what;
    Remote remote;
    std::optional<Code> code;
  } cases[] = {
      {"open to all", remoteAt(open), std::nullopt},
      {"open to all, with a login", remoteAt(open, ada()), std::nullopt},
      {"the right password", remoteAt(closed, ada()), std::nullopt},
      {"a wrong password", remoteAt(closed, wrong), Code::authenticationCredentialsInvalid},
      {"a wrong name", remoteAt(closed, passwordOf("bob", "x")), Code::authenticationCredentialsInvalid},
      {"no login", remoteAt(closed), Code::authenticationStrategyUnsupported},
      {"no password", remoteAt(closed, passwordOf("ada", "")), Code::authenticationStrategyUnsupported},
      {"no name", remoteAt(closed, passwordOf("", "x")), Code::authenticationStrategyUnsupported},
      {"a key", remoteAt(closed, keyAt(pathOf("none"))), Code::authenticationStrategyUnsupported},
      {"two lines", remoteAt(closed, passwordOf("ada", "a\nb")), Code::authenticationCredentialsInvalid},
      {"not allowed", remoteAt(forbidden, ada()), Code::authenticationPermissionDenied},
      {"not there", remoteAt(server().url("/git/none.git")), Code::remoteRepositoryNotFound},
      {"nobody there", remoteAt("http://127.0.0.1:1/x.git", ada()), Code::remoteRepositoryNotFound},
  };
  GitRepository clone = GitRepository::cloneOf(_origin.root());
  for (const auto& each : cases) {
    clone.run({"remote", "set-url", "origin", each.remote->URL().absoluteString().str()});
    for (const Error& error : {validate(each.remote), fetch(each.remote, clone.root())}) {
      if (each.code) {
        EXPECT_TRUE(has(error, *each.code)) << each.what << ": " << error.description() << underlyingMessage(error);
      } else {
        EXPECT_FALSE(error) << each.what << ": " << error.description() << underlyingMessage(error);
      }
      EXPECT_THAT(underlyingMessage(error), Not(HasSubstr(GitHTTPServer::password)));
    }
  }
}

TEST_F(HTTPTest, aPasswordInTheAddressCountsAndIsKeptNowhere) {
  std::string closed = server().url("/private/origin.git");
  std::string withPassword = closed;
  withPassword.insert(7, "ada:s3cr3t%20%24%28touch%20x%29%20%27%22%5C%2541%20%C3%A4@");
  auto [workingCopy, error] = clone(remoteAt(withPassword), pathOf("clone"));
  ASSERT_TRUE(workingCopy) << error.description() << underlyingMessage(error);
  EXPECT_EQ(git(pathOf("clone"), {"config", "remote.origin.url"}), "http://ada@" + closed.substr(7));
  EXPECT_THAT(textOf(pathOf("clone/.git/config")), Not(HasSubstr("s3cr3t")));
  EXPECT_FALSE(fetch(remoteAt(withPassword), pathOf("clone")));
}

TEST_F(HTTPTest, whatTheUserHasSetUpServesWhereTheRequestBringsNothing) {
  std::string helper = pathOf("helper");
  std::ofstream(helper)
      << "#!/bin/sh\n[ \"$1\" = get ] || exit 0\ncase $(cat) in\n*username=ada*) ;;\n*username=*) exit 0 ;;\n"
      << "esac\ncat '" << pathOf("login") << "'\n";
  std::filesystem::permissions(helper, std::filesystem::perms(0755));
  std::ofstream(pathOf("login")) << "username=" << GitHTTPServer::user << "\npassword=" << GitHTTPServer::password
                                 << "\n";
  std::ofstream(pathOf("config")) << "[credential]\n\thelper = " << helper << "\n";
  setVariable("GIT_CONFIG_GLOBAL", pathOf("config"));
  std::string closed = server().url("/private/origin.git");
  EXPECT_FALSE(validate(remoteAt(closed)));
  Error error = validate(remoteAt(closed, passwordOf(GitHTTPServer::user, "wrong")));
  EXPECT_TRUE(has(error, Code::authenticationCredentialsInvalid)) << "what the request brings counts alone";
  EXPECT_FALSE(validate(remoteAt(closed, passwordOf(GitHTTPServer::user, "")))) << "a name alone brings no password";
  EXPECT_TRUE(validate(remoteAt(closed, passwordOf("eve", "")))) << "another user's login was used";
}

TEST_F(HTTPTest, aServerThatSendsOnGetsNoPasswordForAnother) {
  // The same machine under another name is another server.
  GitHTTPServer other(pathOf("other"), {_certificate});
  other.serve("origin.git", _origin.root());
  std::string there = other.url("/private/");
  start({_certificate, "http://localhost" + there.substr(there.rfind(':'))});
  for (const char* user : {"", "ada@"}) {
    std::string url = server().url("/moved/origin.git");
    url.insert(7, user);
    // Whatever the user answered would be kept from that server as well, so it is not for the user to answer.
    for (const Strategy& strategy : {ada(), Strategy()}) {
      Error error = validate(remoteAt(url, strategy));
      EXPECT_TRUE(has(error, Code::authenticationPermissionDenied)) << error.description() << underlyingMessage(error);
      EXPECT_THAT(underlyingMessage(error), HasSubstr("http://localhost"));
    }
  }
  EXPECT_THAT(other.requests(), HasSubstr("/private/"));
  EXPECT_THAT(other.requests(), Not(HasSubstr("Basic")));
}

TEST_F(HTTPTest, aTrustedFingerprintLetsExactlyThatCertificateThrough) {
  std::string fingerprint = _certificate.fingerprint();
  std::string small;
  for (std::size_t index = 0; index < fingerprint.size(); index += 2) {
    small += (index > 0 ? ":" : "") + fingerprint.substr(index, 2);
  }
  std::ranges::transform(small, small.begin(), [](unsigned char digit) { return std::tolower(digit); });
  for (bool isEnforced : {true, false}) {
    for (const std::string& form : {fingerprint, small}) {
      Error error = validate(trusting(form, isEnforced));
      EXPECT_FALSE(error) << form << ": " << error.description() << underlyingMessage(error);
    }
    EXPECT_TRUE(clone(trusting(fingerprint, isEnforced), pathOf("clone")) != decltype(clone(nullptr, ""))());
    std::filesystem::remove_all(pathOf("clone"));
  }
  // Another certificate, and another one of the same key, are others.
  for (const TestCertificate& other : {TestCertificate::make(pathOf("home"), "other"),
                                       TestCertificate::make(pathOf("home"), "renewed", _certificate.key)}) {
    start({other});
    for (bool isEnforced : {true, false}) {
      Error error = validate(trusting(fingerprint, isEnforced));
      EXPECT_TRUE(has(error, Code::authenticationSSLCertificateInvalid)) << error.description();
      EXPECT_EQ(error.userInfo(QRBSourceControlSSHFingerprint), String(other.fingerprint()));
    }
    EXPECT_THAT(server().requests(), Not(HasSubstr("Basic")));
    // What an authority vouches for is trusted beside the fingerprint, unless that is all that counts.
    trustAuthority(other.certificate);
    EXPECT_TRUE(has(validate(trusting(fingerprint)), Code::authenticationSSLCertificateInvalid));
    EXPECT_FALSE(validate(trusting(fingerprint, false)));
    setVariable("GIT_SSL_CAINFO", std::nullopt);
  }
}

}  // namespace
}  // namespace qrb::test
