#include "SSHCommand.h"

#include "SSHHome.h"

namespace qrb {
namespace {

/// ssh puts other texts for what follows a "%".
std::string literal(std::string_view text) {
  std::string result;
  for (char byte : text) result.append(byte == '%' ? 2 : 1, byte);
  return result;
}

/// As ssh takes the values of its options apart.
std::string quotedWord(const std::string& word) {
  std::string result = "\"";
  for (char byte : literal(word)) {
    if (byte == '"' || byte == '\\') result.push_back('\\');
    result.push_back(byte);
  }
  return result + '"';
}

void addOption(std::vector<std::string>& arguments, std::string option) {
  arguments.insert(arguments.end(), {"-o", std::move(option)});
}

/// The first of several values counts, so these go before those of the home.
void addTrust(std::vector<std::string>& arguments, const RemoteAccess& access, const std::string& askpass) {
  addOption(arguments, "StrictHostKeyChecking=yes");
  // Only keys are asked for by name; addresses would be asked for without the key's fingerprint being told.
  addOption(arguments, "CheckHostIP=no");
  addOption(arguments, "UpdateHostKeys=no");
  addOption(arguments, "VerifyHostKeyDNS=no");
  addOption(arguments, "KnownHostsCommand=" + quotedWord(askpass) + " %I %H %t %K %f");
  if (!access.trustedFingerprint.empty() && access.isFingerprintEnforced) {
    addOption(arguments, "UserKnownHostsFile=/dev/null");
    addOption(arguments, "GlobalKnownHostsFile=/dev/null");
  }
}

void addLogin(std::vector<std::string>& arguments, const RemoteAccess& access) {
  if (!access.user.empty()) arguments.insert(arguments.end(), {"-l", access.user});
  addOption(arguments, access.hasSecret() ? "BatchMode=no" : "BatchMode=yes");
  addOption(arguments, "NumberOfPasswordPrompts=1");
  if (access.kind == RemoteAccess::Kind::password) {
    addOption(arguments, "PubkeyAuthentication=no");
    addOption(arguments, "PreferredAuthentications=password,keyboard-interactive");
  } else {
    addOption(arguments, "PasswordAuthentication=no");
    addOption(arguments, "KbdInteractiveAuthentication=no");
  }
  if (access.kind == RemoteAccess::Kind::key && !access.keyFile.empty()) {
    // Not -i, which passes a file over that it does not find before it has put the "%" in.
    addOption(arguments, "IdentityFile=" + quotedWord(access.keyFile));
    addOption(arguments, "IdentitiesOnly=yes");
  } else {
    for (std::string& argument : sshHomeIdentityArguments()) arguments.push_back(std::move(argument));
  }
}

}  // namespace

std::vector<std::string> sshArguments(const RemoteAccess& access, const std::string& askpass) {
  std::vector<std::string> arguments;
  addTrust(arguments, access, askpass);
  addLogin(arguments, access);
  // A connection that is there already was made under other conditions, and one left behind would outlive the request.
  for (const char* option : {"ControlMaster=no", "ControlPath=none", "ForwardAgent=no", "ClearAllForwardings=yes",
                             "PermitLocalCommand=no", "RemoteCommand=none", "ConnectTimeout=30"}) {
    addOption(arguments, option);
  }
  for (std::string& argument : sshHomeArguments()) arguments.push_back(std::move(argument));
  return arguments;
}

std::string shellCommand(std::string program, const std::vector<std::string>& arguments) {
  for (const std::string& argument : arguments) {
    program.append(" '");
    for (char byte : argument) {
      if (byte == '\'') {
        program.append("'\\''");
      } else {
        program.push_back(byte);
      }
    }
    program.push_back('\'');
  }
  return program;
}

}  // namespace qrb
