#include "SSHHome.h"

#include <pwd.h>
#include <unistd.h>

#include "FileSystem.h"

namespace qrb {
namespace {

/// The value of an option of ssh's, whose syntax takes blanks only within quotation marks.
std::string quoted(const std::string& value) {
  return '"' + value + '"';
}

/// Empty where ssh knows the home by itself.
std::string differingHome() {
  std::string home = homeDirectory();
  passwd entry{};
  passwd* found = nullptr;
  char buffer[16384];
  bool isKnown = ::getpwuid_r(::getuid(), &entry, buffer, sizeof buffer, &found) == 0 && found != nullptr;
  return isKnown && home != found->pw_dir ? home : std::string();
}

}  // namespace

std::string sshKnownHostsFile() {
  return homeDirectory() + "/.ssh/known_hosts";
}

std::vector<std::string> sshHomeArguments() {
  std::string home = differingHome();
  if (home.empty()) return {};
  std::string configuration = home + "/.ssh/config";
  return {"-F", ::access(configuration.c_str(), R_OK) == 0 ? configuration : "none", "-o",
          "UserKnownHostsFile=" + quoted(sshKnownHostsFile())};
}

std::vector<std::string> sshHomeIdentityArguments() {
  std::string home = differingHome();
  if (home.empty()) return {};
  std::vector<std::string> arguments;
  for (const char* name : {"id_rsa", "id_ecdsa", "id_ed25519"}) {
    arguments.insert(arguments.end(), {"-o", "IdentityFile=" + quoted(home + "/.ssh/" + name)});
  }
  return arguments;
}

}  // namespace qrb
