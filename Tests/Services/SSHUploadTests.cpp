#include <gmock/gmock.h>

#include "QRBSourceControlError.h"
#include "SSHServer.h"
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
    _server = std::make_unique<SSHServer>(home() + "/server");
    know(home() + "/server/host.pub");
  }

  void admitted(const std::string& publicKey) const { std::ofstream(home() + "/server/admitted") << textOf(publicKey); }
  void know(const std::string& publicKey) const {
    std::ofstream(home() + "/.ssh/known_hosts") << _server->knownHostLine(publicKey);
  }
  Error upload() const {
    auto outcome = Outcome<>::make();
    manager()->uploadPublicSSHKeyFromFolder(URL::fileURL(home() + "/new", true),
                                            URL("ssh://127.0.0.1:" + std::to_string(_server->port()) + "/x"),
                                            SSHServer::user(), outcome->completion());
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

TEST_F(SSHUploadTest, WithoutAPublicKeyThereIsNothingToUpload) {
  std::ofstream(home() + "/new/id_rsa.pub") << "no key\n";
  EXPECT_EQ(upload().code(), -1033);
}

}  // namespace
}  // namespace qrb::test
