#include <arpa/inet.h>
#include <fcntl.h>
#include <gmock/gmock.h>
#include <netinet/in.h>
#include <pwd.h>
#include <spawn.h>
#include <sys/socket.h>
#include <sys/wait.h>

#include "QRBSourceControlError.h"
#include "RunProgram.h"
#include "ServiceTesting.h"

namespace qrb::test {
namespace {

constexpr const char* kServerProgram = "/usr/sbin/sshd";

// An SSH server on a port of the system's choice: one sshd for each connection, its login folder within the test's.
class SSHServer {
 public:
  explicit SSHServer(const std::string& folder) : _configuration(folder + "/sshd_config") {
    std::ofstream(_configuration) << "HostKey " << folder << "/host\nAuthorizedKeysFile " << folder << "/admitted\n"
                                  << "StrictModes no\nUsePAM no\nPermitRootLogin yes\nPasswordAuthentication no\n"
                                  << "KbdInteractiveAuthentication no\nSetEnv HOME=" << folder << "/login\n";
    // Where the server wants to shut itself in; its package makes it only when the system starts.
    if (::geteuid() == 0) std::filesystem::create_directories("/run/sshd");
    _listener = FileDescriptor(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = ::htonl(INADDR_LOOPBACK);
    socklen_t length = sizeof address;
    EXPECT_EQ(::bind(_listener.get(), reinterpret_cast<sockaddr*>(&address), length), 0);
    EXPECT_EQ(::listen(_listener.get(), 4), 0);
    EXPECT_EQ(::getsockname(_listener.get(), reinterpret_cast<sockaddr*>(&address), &length), 0);
    _port = ::ntohs(address.sin_port);
    _thread = std::thread([this] { serve(); });
  }
  ~SSHServer() {
    ::shutdown(_listener.get(), SHUT_RDWR);
    _thread.join();
  }
  SSHServer(const SSHServer&) = delete;
  SSHServer& operator=(const SSHServer&) = delete;

  int port() const { return _port; }

 private:
  void serve() {
    for (;;) {
      FileDescriptor client(::accept4(_listener.get(), nullptr, nullptr, SOCK_CLOEXEC));
      if (!client.valid()) return;
      posix_spawn_file_actions_t actions;
      ::posix_spawn_file_actions_init(&actions);
      ::posix_spawn_file_actions_adddup2(&actions, client.get(), STDIN_FILENO);
      ::posix_spawn_file_actions_adddup2(&actions, client.get(), STDOUT_FILENO);
      ::posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, "/dev/null", O_WRONLY, 0);
      std::vector<std::string> arguments = {kServerProgram, "-i", "-f", _configuration};
      std::vector<char*> pointers;
      for (std::string& argument : arguments) pointers.push_back(argument.data());
      pointers.push_back(nullptr);
      pid_t process = -1;
      EXPECT_EQ(::posix_spawn(&process, kServerProgram, &actions, nullptr, pointers.data(), environ), 0);
      ::posix_spawn_file_actions_destroy(&actions);
      client.reset();
      if (process > 0) ::waitpid(process, nullptr, 0);
    }
  }

  const std::string _configuration;
  FileDescriptor _listener;
  int _port = 0;
  std::thread _thread;
};

class SSHUploadTest : public ServiceTest {
 protected:
  void SetUp() override {
    ServiceTest::SetUp();
    if (::access(kServerProgram, X_OK) != 0) GTEST_SKIP() << "no SSH server is installed";
    std::filesystem::create_directories(home() + "/server/login");
    for (const char* key : {"/server/host", "/.ssh/id_ed25519", "/new/id_rsa"}) makeKey(home() + key);
    admitted(home() + "/.ssh/id_ed25519.pub");
    _server = std::make_unique<SSHServer>(home() + "/server");
    know(home() + "/server/host.pub");
  }

  static void makeKey(const std::string& path) {
    std::filesystem::create_directories(std::filesystem::path(path).parent_path());
    ASSERT_EQ(
        runProgram({"ssh-keygen", "-q", "-t", "ed25519", "-N", "", "-f", path}, {"PATH=/usr/bin:/bin"}, "/").status, 0);
  }
  void admitted(const std::string& publicKey) const { std::ofstream(home() + "/server/admitted") << textOf(publicKey); }
  void know(const std::string& publicKey) const {
    std::ofstream(home() + "/.ssh/known_hosts") << "[127.0.0.1]:" << _server->port() << " " << textOf(publicKey);
  }
  Error upload() const {
    auto outcome = Outcome<>::make();
    manager()->uploadPublicSSHKeyFromFolder(URL::fileURL(home() + "/new", true),
                                            URL("ssh://127.0.0.1:" + std::to_string(_server->port()) + "/x"),
                                            ::getpwuid(::geteuid())->pw_name, outcome->completion());
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
  std::string shown =
      runProgram({"ssh-keygen", "-l", "-f", home() + "/server/host.pub"}, {"PATH=/usr/bin:/bin"}, "/").output;
  std::string fingerprint = error.userInfo(QRBSourceControlSSHFingerprint).str();
  EXPECT_THAT(fingerprint, testing::StartsWith("SHA256:"));
  EXPECT_THAT(shown, testing::HasSubstr(fingerprint));
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
