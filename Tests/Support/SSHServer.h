#pragma once

#include <gtest/gtest.h>
#include <pwd.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <string>

#include "ConnectionServer.h"
#include "RunProgram.h"

namespace qrb::test {

/// Makes a key pair; no passphrase when it is empty.
inline void makeSSHKey(const std::string& path, const std::string& passphrase = "",
                       const std::string& type = "ed25519") {
  std::filesystem::create_directories(std::filesystem::path(path).parent_path());
  const ProgramResult made =
      runProgram({"ssh-keygen", "-q", "-t", type, "-N", passphrase, "-f", path}, {"PATH=/usr/bin:/bin"}, "/");
  ASSERT_EQ(made.status, 0) << made.output;
}

/// As ssh-keygen shows it: "SHA256:…".
inline std::string sshFingerprint(const std::string& publicKey) {
  std::string shown = runProgram({"ssh-keygen", "-l", "-f", publicKey}, {"PATH=/usr/bin:/bin"}, "/").output;
  std::size_t begin = shown.find("SHA256:");
  return begin == std::string::npos ? shown : shown.substr(begin, shown.find(' ', begin) - begin);
}

/// A private SSH server of one user, who runs the tests: its key is `host` in the folder, whom it admits stands in
/// `admitted`, and its login folder is `login`.
class SSHServer {
 public:
  static constexpr const char* program = "/usr/sbin/sshd";
  static bool isInstalled() { return ::access(program, X_OK) == 0; }
  static std::string user() { return ::getpwuid(::geteuid())->pw_name; }

  /// Settings as in sshd_config, one on a line, which go before the usual ones. The key must be there already.
  explicit SSHServer(const std::string& folder, const std::string& settings = "",
                     std::vector<std::string> environment = {})
      : _folder(folder) {
    environment.push_back("PATH=/usr/local/bin:/usr/bin:/bin");
    std::ofstream(folder + "/sshd_config")
        << settings << "HostKey " << folder << "/host\nAuthorizedKeysFile " << folder << "/admitted\n"
        << "StrictModes no\nUsePAM no\nPermitRootLogin yes\nPasswordAuthentication no\n"
        << "KbdInteractiveAuthentication no\nSetEnv HOME=" << folder << "/login GIT_CONFIG_NOSYSTEM=1\n";
    std::filesystem::create_directories(folder + "/login");
    // Where the server wants to shut itself in; its package makes it only when the system starts.
    if (::geteuid() == 0) std::filesystem::create_directories("/run/sshd");
    _server = std::make_unique<ConnectionServer>(std::vector<std::string>{program, "-i", "-f", folder + "/sshd_config"},
                                                 std::move(environment));
  }

  int port() const { return _server->port(); }
  const std::string& folder() const { return _folder; }
  /// A line of a known_hosts file that names this server with a key.
  std::string knownHostLine(const std::string& publicKey) const {
    std::ifstream file(publicKey);
    return "[127.0.0.1]:" + std::to_string(port()) + " " + std::string(std::istreambuf_iterator<char>(file), {});
  }

 private:
  const std::string _folder;
  std::unique_ptr<ConnectionServer> _server;
};

}  // namespace qrb::test
