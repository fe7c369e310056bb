#include <gmock/gmock.h>

#include "QRBSourceControlBasicAuthenticationStrategy.h"
#include "QRBSourceControlError.h"
#include "QRBSourceControlRemoteRepository.h"
#include "SSHServer.h"
#include "SSHUpload.h"
#include "ServiceTesting.h"

namespace qrb::test {
namespace {

class SSHUploadTest : public ServiceTest {
 protected:
  void SetUp() override {
    ServiceTest::SetUp();
    if (!SSHServer::isInstalled()) GTEST_SKIP() << "no SSH server is installed";
    for (const char* key : {"/server/host", "/.ssh/id_ed25519", "/new/id_rsa"}) makeSSHKey(home() + key);
    admitted(home() + "/.ssh/id_ed25519.pub");
    serve();
  }

  void serve(const std::string& settings = "", std::vector<std::string> environment = {}) {
    _server = std::make_unique<SSHServer>(home() + "/server", settings, std::move(environment));
    know(home() + "/server/host.pub");
  }
  URL address(const std::string& login = "") const {
    return URL("ssh://" + login + "127.0.0.1:" + std::to_string(_server->port()) + "/x");
  }

  void admitted(const std::string& publicKey) const { std::ofstream(home() + "/server/admitted") << textOf(publicKey); }
  void know(const std::string& publicKey) const {
    std::ofstream(home() + "/.ssh/known_hosts") << _server->knownHostLine(publicKey);
  }
  Error upload() const { return upload(address()); }
  Error upload(const URL& server) const {
    auto outcome = Outcome<>::make();
    manager()->uploadPublicSSHKeyFromFolder(URL::fileURL(home() + "/new", true), server, SSHServer::user(),
                                            outcome->completion());
    return outcome->error();
  }
  Error uploadWith(const std::string& user, const std::string& password) const {
    auto outcome = Outcome<>::make();
    auto server = QRBSourceControlRemoteRepository::initWithURLUnsavedAuthenticationStrategy(
        address(), nullptr, QRBSourceControlBasicAuthenticationStrategy::initWithUsername(user, password));
    manager()->uploadPublicSSHKeyFromFolder(URL::fileURL(home() + "/new", true), server, outcome->completion());
    return outcome->error();
  }
  std::string authorized() const { return home() + "/server/login/.ssh/authorized_keys"; }

 private:
  std::unique_ptr<SSHServer> _server;
};

TEST_F(SSHUploadTest, AnUploadedKeyIsAuthorizedOnceBesideThoseThatWere) {
  std::filesystem::create_directories(home() + "/server/login/.ssh");
  std::ofstream(authorized()) << "ssh-rsa AAAA a line without an end";
  for (int time = 0; time < 2; ++time) {
    Error error = upload();
    ASSERT_FALSE(error) << error.description();
    EXPECT_EQ(textOf(authorized()), "ssh-rsa AAAA a line without an end\n" + textOf(home() + "/new/id_rsa.pub"));
  }
}

TEST_F(SSHUploadTest, TheFilesForTheFirstKeyAreTheUsersAlone) {
  Error error = upload();
  ASSERT_FALSE(error) << error.description();
  EXPECT_EQ(textOf(authorized()), textOf(home() + "/new/id_rsa.pub"));
  auto others = std::filesystem::perms::group_all | std::filesystem::perms::others_all;
  EXPECT_EQ(std::filesystem::status(authorized()).permissions() & others, std::filesystem::perms::none);
}

TEST_F(SSHUploadTest, AServerWhoseKeyIsNotTheKnownOneGetsNothing) {
  know(home() + "/new/id_rsa.pub");
  Error error = upload();
  EXPECT_EQ(error.code(), -1004) << error.description();
  std::string fingerprint = error.userInfo(QRBSourceControlSSHFingerprint).str();
  EXPECT_THAT(fingerprint, testing::StartsWith("SHA256:"));
  EXPECT_EQ(fingerprint, sshFingerprint(home() + "/server/host.pub"));
  std::ofstream(home() + "/.ssh/known_hosts").flush();
  EXPECT_EQ(upload().code(), -1004) << "a server that is not known at all";
  EXPECT_FALSE(std::filesystem::exists(authorized()));
}

TEST_F(SSHUploadTest, AServerThatDoesNotAdmitTheUserSaysSo) {
  admitted(home() + "/new/id_rsa.pub");
  Error error = upload();
  EXPECT_EQ(error.code(), -1002) << error.description();
  EXPECT_FALSE(std::filesystem::exists(authorized()));
}

TEST_F(SSHUploadTest, AFileThatTheFarSideMayNotWriteIsNoRefusedLogin) {
  std::filesystem::create_directories(home() + "/server/login/.ssh");
  // Nobody may write there, not even root.
  std::filesystem::create_symlink("/sys/kernel/notes", authorized());
  Error error = upload();
  EXPECT_EQ(error.domain(), kGeneralErrorDomain) << error.description();
  EXPECT_THAT(error.userInfo(QRBSourceControlUnderlyingErrorString).str(), testing::HasSubstr("Permission denied"));
}

TEST_F(SSHUploadTest, TheFirstKeyReachesAServerThatTakesPasswordsOnly) {
  std::string hash = runProgram({"openssl", "passwd", "-6", "s3cr!t"}, {"PATH=/usr/bin:/bin"}, "/").output;
  serve("PubkeyAuthentication no\nPasswordAuthentication yes\n",
        {"LD_PRELOAD=" QRB_LOGIN_PASSWORD, "QRB_LOGIN_PASSWORD=" + hash.substr(0, hash.find('\n'))});
  std::string user = SSHServer::user();
  EXPECT_EQ(upload().code(), -1002) << "nothing to log in with";
  EXPECT_EQ(upload(address("else:s3cr!t@")).code(), -1002) << "another user's password";
  EXPECT_EQ(uploadWith(user, "wrong").code(), -1002);
  EXPECT_EQ(uploadWith("else", "s3cr!t").code(), -1002);
  EXPECT_FALSE(std::filesystem::exists(authorized()));
  Error error = uploadWith(user, "s3cr!t");
  ASSERT_FALSE(error) << error.description() << error.userInfo(QRBSourceControlUnderlyingErrorString).str();
  EXPECT_EQ(textOf(authorized()), textOf(home() + "/new/id_rsa.pub"));
}

TEST_F(SSHUploadTest, AServerThatStallsAfterTheLoginIsGivenUp) {
  SSHUploadLimits shortSilence{std::chrono::seconds(1), 1, kPatience};
  SSHUploadLimits shortWork{std::chrono::seconds(60), 3, std::chrono::seconds(3)};
  for (const auto& [command, limits] :
       {std::pair("kill -STOP $PPID", shortSilence), std::pair("exec tail --pid=$PPID -f /dev/null", shortWork)}) {
    serve(std::string("ForceCommand ") + command + "\n");
    Error error = uploadPublicSSHKey(URL::fileURL(home() + "/new", true), address(), SSHServer::user(), limits);
    EXPECT_EQ(error.code(), ETIMEDOUT) << command << error.description();
  }
}

TEST_F(SSHUploadTest, WithoutAPublicKeyThereIsNothingToUpload) {
  std::ofstream(home() + "/new/id_rsa.pub") << "no key\n";
  EXPECT_EQ(upload().code(), -1033);
}

}  // namespace
}  // namespace qrb::test
