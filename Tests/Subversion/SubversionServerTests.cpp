#include <signal.h>

#include <future>

#include "Descriptors.h"
#include "GitHTTPServer.h"
#include "NetworkTesting.h"
#include "QRBSourceControlBasicAuthenticationStrategy.h"
#include "QRBSourceControlSSHKeysAuthenticationStrategy.h"
#include "SSHServer.h"
#include "ServiceReservePrivate.h"
#include "SubversionTesting.h"

// Every way to a server, with the logins and the trust that it takes. The servers are the tests' own, on loopback.
namespace qrb::test {
namespace {

namespace fs = std::filesystem;
using testing::HasSubstr;
using testing::Not;

constexpr const char* user = "ada";
constexpr const char* password = "s3cr3t ä\"%41";

class SubversionServerTest : public SubversionTest {
 protected:
  SubversionServerTest() {
    fs::permissions(fs::path(_repository.pathOf("")), fs::perms(0755));
    _repository.write("file.txt", "1\n");
    _repository.commit();
    ::setenv("HOME", _repository.pathOf("home").c_str(), 1);
    ::unsetenv("SSH_AUTH_SOCK");
    ServiceReserve::shared().clear();
  }
  ~SubversionServerTest() override { manager()->setFailureHandler(nullptr); }

  static Remote remoteAt(const std::string& url, const Strategy& strategy = nullptr,
                         const std::string& fingerprint = "") {
    auto remote = QRBSourceControlRemoteRepository::initWithURLUnsavedAuthenticationStrategy(
        URL(url), system(), strategy ? strategy : QRBSourceControlAuthenticationStrategy::sharedAnonymousStrategy());
    remote->setTrustedServerFingerprint(fingerprint);
    return remote;
  }
  static Strategy login(const std::string& name, const std::string& secret) {
    return QRBSourceControlBasicAuthenticationStrategy::initWithUsername(name, secret);
  }
  static Error validate(const Remote& remote) {
    return perform([&](auto done) { remote->validateAuthenticationForLocation(nullptr, nullptr, done); });
  }
  static HistoryQuery onlyTheNewest() {
    HistoryQuery query;
    query.maximum = 1;
    return query;
  }
  /// The whole way: check out, change, commit, see it in the history, and update.
  void work(const Remote& remote, const std::string& name) {
    SCOPED_TRACE(name);
    std::string place = _repository.pathOf("made-" + name);
    auto [made, error] = ask<QRBSourceControlWorkingCopyPtr>([&](auto done) {
      remote->createWorkingCopyAtURL(URL::fileURL(place, true), branch("trunk"), nullptr, {}, done);
    });
    ASSERT_TRUE(made) << error.description() << underlyingMessage(error);
    auto copy = QRBSourceControlWorkingCopy::initWithFileURLUnidentifiableRepository(URL::fileURL(place, true), remote);
    std::ofstream(place + "/file.txt", std::ios::app) << name << "\n";
    auto [revision, commitError] =
        ask<QRBSourceControlRevisionPtr>([&](auto done) { copy->commitFiles({"file.txt"}, "by " + name, done); });
    ASSERT_TRUE(revision) << commitError.description() << underlyingMessage(commitError);
    Error updated = perform([&](auto done) { copy->forceUpdateWorkingCopyFromRepository(remote, {}, done); });
    EXPECT_FALSE(updated) << updated.description() << underlyingMessage(updated);
    auto [items, historyError] = historyOf(copy, onlyTheNewest());
    ASSERT_EQ(items.size(), 1u) << historyError.description();
    EXPECT_EQ(items[0]->message(), String("by " + name));
    EXPECT_EQ(items[0]->revision()->identifier(), revision->identifier());
  }

  /// svnserve over the folder of the test, which lets ada alone write and everybody read where `isOpen`.
  ConnectionServer serve(bool isOpen) const {
    std::ofstream(_repository.pathOf("repository/conf/svnserve.conf"))
        << "[general]\nanon-access = " << (isOpen ? "write" : "none")
        << "\nauth-access = write\npassword-db = passwd\nrealm = test\n";
    std::ofstream(_repository.pathOf("repository/conf/passwd")) << "[users]\n" << user << " = " << password << "\n";
    return {{"svnserve", "-i", "-r", _repository.pathOf("")}, _repository.environment()};
  }
  static std::string urlOf(const ConnectionServer& server) {
    return "svn://127.0.0.1:" + std::to_string(server.port()) + "/repository";
  }
  GitHTTPServer::Options webOptions(const TestCertificate& certificate) const {
    std::string place = "DAV svn\nSVNPath " + _repository.pathOf("repository") + "\n";
    std::string logIn = "AuthType Basic\nAuthName test\nAuthUserFile " + _repository.pathOf("web") + "/passwords\n";
    GitHTTPServer::Options options{certificate};
    options.moreModules = {"dav", "dav_svn"};
    options.moreConfiguration = "<Location /svn>\n" + place + "</Location>\n<Location /locked>\n" + place + logIn +
                                "Require user ada\n</Location>\n<Location /refused>\n" + place + logIn +
                                "Require user bob\nAuthzSendForbiddenOnFailure On\n</Location>\n";
    // Served by an unprivileged user where root runs the tests.
    if (::geteuid() == 0) _repository.run({"chown", "-R", "nobody:", _repository.pathOf("repository")});
    return options;
  }
};

TEST_F(SubversionServerTest, svnserveLetsInWhoMayAndTellsWhyNot) {
  ConnectionServer open = serve(true);
  work(remoteAt(urlOf(open)), "anonymous");
  ConnectionServer closed = serve(false);
  EXPECT_TRUE(has(validate(remoteAt(urlOf(closed))), Code::authenticationStrategyUnsupported));
  EXPECT_TRUE(has(validate(remoteAt(urlOf(closed), login(user, "wrong"))), Code::authenticationCredentialsInvalid));
  EXPECT_TRUE(has(validate(remoteAt(urlOf(closed) + "-missing")), Code::remoteRepositoryNotFound));
  work(remoteAt(urlOf(closed), login(user, password)), "ada");
  // What the user has stored for svn serves where the request brings nothing, and is not changed.
  fs::create_directories(_repository.pathOf("home/.subversion"));
  std::ofstream(_repository.pathOf("home/.subversion/servers")) << "[global]\nstore-plaintext-passwords = yes\n";
  _repository.svn({"info", "--username", user, "--password", password, urlOf(closed)});
  auto store = [&] {
    return _repository.run({"find", _repository.pathOf("home/.subversion"), "-type", "f", "-printf", "%p %s %T@\\n"});
  };
  std::string before = store();
  Error stored = validate(remoteAt(urlOf(closed)));
  EXPECT_EQ(!stored, before.find("svn.simple/") != std::string::npos) << stored.description() << before;
  EXPECT_EQ(store(), before);
}

TEST_F(SubversionServerTest, aWebServerIsTrustedByItsCertificateAndNoOther) {
  if (!GitHTTPServer::isInstalled()) GTEST_SKIP() << "Apache is not installed";
  fs::create_directories(_repository.pathOf("keys"));
  TestCertificate certificate = TestCertificate::make(_repository.pathOf("keys"), "server");
  GitHTTPServer server(_repository.pathOf("web"), webOptions(certificate));
  work(remoteAt(server.url("/svn")), "http");
  Strategy right = login(GitHTTPServer::user, GitHTTPServer::password);
  EXPECT_TRUE(has(validate(remoteAt(server.url("/locked"))), Code::authenticationStrategyUnsupported));
  EXPECT_TRUE(
      has(validate(remoteAt(server.url("/locked"), login(user, "wrong"))), Code::authenticationCredentialsInvalid));
  EXPECT_TRUE(has(validate(remoteAt(server.url("/refused"), right)), Code::authenticationPermissionDenied));
  Error untrusted = validate(remoteAt(server.secureURL("/locked"), right));
  EXPECT_TRUE(has(untrusted, Code::authenticationSSLCertificateInvalid)) << untrusted.description();
  EXPECT_EQ(untrusted.userInfo(QRBSourceControlSSHFingerprint), String(certificate.fingerprint()));
  EXPECT_THAT(underlyingMessage(untrusted), HasSubstr("issuer"));
  // Another certificate than the trusted one, whoever vouches for it, is none.
  Error other = validate(remoteAt(server.secureURL("/locked"), right, std::string(40, 'A')));
  EXPECT_TRUE(has(other, Code::authenticationSSLCertificateInvalid)) << other.description();
  EXPECT_THAT(server.requests(), Not(HasSubstr("/locked Basic YWRhOnMz"))) << "the password went to a stranger";
  work(remoteAt(server.secureURL("/locked"), right, certificate.fingerprint()), "https");
}

TEST_F(SubversionServerTest, sshIsTheSameStrictOneAsForGit) {
  if (!SSHServer::isInstalled()) GTEST_SKIP() << "sshd is not installed";
  std::string folder = _repository.pathOf("ssh");
  fs::create_directories(folder);
  makeSSHKey(folder + "/host");
  makeSSHKey(_repository.pathOf("home/.ssh/mine"), "a phrase");
  fs::copy_file(_repository.pathOf("home/.ssh/mine.pub"), folder + "/admitted");
  SSHServer server(folder);
  std::string url = "svn+ssh://" + SSHServer::user() + "@127.0.0.1:" + std::to_string(server.port()) +
                    _repository.pathOf("repository");
  auto key = [&](const std::string& phrase) {
    return QRBSourceControlSSHKeysAuthenticationStrategy::initWithUsername(
        "", URL::fileURL(_repository.pathOf("home/.ssh/mine")), phrase);
  };
  Error unknown = validate(remoteAt(url, key("a phrase")));
  EXPECT_TRUE(has(unknown, Code::authenticationSSHFingerprintInvalid)) << unknown.description();
  std::string fingerprint = sshFingerprint(folder + "/host.pub");
  EXPECT_EQ(unknown.userInfo(QRBSourceControlSSHFingerprint), String(fingerprint)) << underlyingMessage(unknown);
  Error wrong = validate(remoteAt(url, key("another"), fingerprint));
  EXPECT_TRUE(has(wrong, Code::authenticationCredentialsInvalid)) << wrong.description() << underlyingMessage(wrong);
  work(remoteAt(url, key("a phrase"), fingerprint), "ssh");
}

TEST_F(SubversionServerTest, whateverAServerSaysIsAnErrorOfTheRequestAlone) {
  std::string bomb = "<?xml version=\"1.0\"?><!DOCTYPE a [<!ENTITY e0 \"eeeeeeeeee\">";
  for (int depth = 1; depth < 12; ++depth) {
    std::string inner = "&e" + std::to_string(depth - 1) + ";";
    bomb += "<!ENTITY e" + std::to_string(depth) + " \"";
    for (int times = 0; times < 10; ++times) bomb += inner;
    bomb += "\">";
  }
  bomb += "]><D:options-response xmlns:D=\"DAV:\">&e11;</D:options-response>";
  auto web = [](const std::string& body) {
    return "HTTP/1.1 200 OK\r\nDAV: 1,2\r\nContent-Type: text/xml\r\nContent-Length: " + std::to_string(body.size()) +
           "\r\n\r\n" + body;
  };
  const std::pair<const char*, std::string> table[] = {
      {"svn", ""},
      {"svn", "GET / HTTP/1.1\r\n\r\n"},
      {"svn", "( success ( 2 2 ( ) ( edit-pipeline svndiff1 absent-entries ) ) ) "},
      {"svn", "( success ( 18446744073709551615:x"},
      {"svn", "( success ( 1073741824:" + std::string(1000, 'x')},
      {"svn", std::string(200000, '(') + " "},
      {"svn",
       "( success ( 2 2 ( ) ( edit-pipeline ) ) ) ( success ( ( ANONYMOUS ) 1:x ) ) ( success ( ) ) ( success ( "
       "36:../../../../etc/passwd\n\n\n\n\n\n\n\n\n\n\n\n 4:file ( ) ) ) "},
      {"http", ""},
      {"http", web("<a><b></a>")},
      {"http", web(bomb)},
      {"http", "HTTP/1.1 301 Moved\r\nLocation: file:///etc/passwd\r\nContent-Length: 0\r\n\r\n"},
      {"http", "HTTP/1.1 200 OK\r\n" + std::string(300000, 'h')},
  };
  int number = 0;
  for (const auto& [scheme, says] : table) {
    SCOPED_TRACE(++number);
    std::string words = _repository.pathOf("words" + std::to_string(number));
    std::ofstream(words, std::ios::binary) << says;
    // A web server answers what it was asked; what the client says otherwise is taken as it comes.
    bool answers = std::string_view(scheme) == "http";
    std::string script = (answers ? "head -c 1 >/dev/null; " : "") + ("cat >/dev/null & cat " + words);
    ConnectionServer server({"sh", "-c", script}, _repository.environment());
    Error error =
        validate(remoteAt(std::string(scheme) + "://127.0.0.1:" + std::to_string(server.port()) + "/repository"));
    EXPECT_TRUE(error);
    // Of a line without an end the web library dies now and then, which is what the process of its own is for.
    bool mayDie = answers && says.size() > 200000;
    EXPECT_TRUE(mayDie || error.domain() == String(QRBSourceControlErrorDomain)) << "died: " << error.description();
  }
}

TEST_F(SubversionServerTest, aPasswordIsInNoCommandLineEnvironmentOrFile) {
  ConnectionServer server = serve(false);
  TestGate gate(_repository.pathOf("home"));
  _repository.setHook("pre-commit", gate.script());
  Remote remote = remoteAt(urlOf(server), login(user, password));
  std::string place = _repository.pathOf("secret");
  auto [made, error] = ask<QRBSourceControlWorkingCopyPtr>([&](auto done) {
    remote->createWorkingCopyAtURL(URL::fileURL(place, true), branch("trunk"), nullptr, {}, done);
  });
  ASSERT_TRUE(made) << error.description() << underlyingMessage(error);
  auto copy = QRBSourceControlWorkingCopy::initWithFileURLUnidentifiableRepository(URL::fileURL(place, true), remote);
  std::ofstream(place + "/file.txt") << "changed\n";
  gate.close();
  auto answer = std::async(std::launch::async, [&] {
    return std::get<1>(ask<QRBSourceControlRevisionPtr>([&](auto done) { copy->commitFiles({}, "held up", done); }));
  });
  EXPECT_TRUE(gate.awaitArrival());
  std::vector<ProcessEntry> processes = plugInProcesses();
  EXPECT_GE(processes.size(), 1u);
  for (const ProcessEntry& process : processes) {
    for (const char* file : {"cmdline", "environ"}) {
      EXPECT_THAT(textOfProcess(process.id, file), Not(HasSubstr("s3cr3t"))) << process.name << " " << file;
    }
  }
  for (const std::string& folder : {place, _repository.pathOf("home")}) {
    for (const auto& entry : fs::recursive_directory_iterator(folder)) {
      if (entry.is_regular_file()) {
        EXPECT_THAT(SubversionRepository::textOf(entry.path()), Not(HasSubstr("s3cr3t"))) << entry.path();
      }
    }
  }
  gate.open();
  Error ended = answer.get();
  EXPECT_FALSE(ended) << ended.description() << underlyingMessage(ended);
}

}  // namespace
}  // namespace qrb::test
