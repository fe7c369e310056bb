#include "RemoteAccess.h"

#include <sys/stat.h>

#include "QRBSourceControlBasicAuthenticationStrategy.h"
#include "QRBSourceControlError.h"
#include "QRBSourceControlRemoteRepository.h"
#include "QRBSourceControlSSHKeysAuthenticationStrategy.h"

namespace qrb {
namespace {

void take(RemoteAccess& access, const QRBSourceControlAuthenticationStrategy* strategy) {
  if (const auto* basic = dynamic_cast<const QRBSourceControlBasicAuthenticationStrategy*>(strategy)) {
    access.user = basic->username().str();
    // A name without a password is no login: what the user has set up may know the password.
    if (basic->password().empty()) return;
    access.kind = RemoteAccess::Kind::password;
    access.secret = SecretText(basic->password().view());
  } else if (const auto* keys = dynamic_cast<const QRBSourceControlSSHKeysAuthenticationStrategy*>(strategy)) {
    access.user = keys->username().str();
    if (!access.address.isSSH()) return;
    access.kind = RemoteAccess::Kind::key;
    access.secret = SecretText(keys->privateKeyPassword().view());
    if (keys->privateKeyFile()) access.keyFile = keys->privateKeyFile().path().str();
  }
}

/// The tools take the first line of what an asked program prints.
bool isOneLine(std::string_view text) {
  return text.find_first_of(std::string_view("\r\n\0", 3)) == std::string_view::npos;
}

/// A name that ssh could take for an option, or a shell on the way for a command.
bool isSafeUser(std::string_view user) {
  return !user.starts_with('-') && user.find_first_of("'\"`$\\;&<>|(){} \t") == std::string_view::npos;
}

Error keyFault(const std::string& path) {
  URL url = URL::fileURL(path);
  struct stat info {};
  if (::stat(path.c_str(), &info) != 0) return QRBSourceControlError_AuthenticationSSHKeyNotFound(url);
  if (!S_ISREG(info.st_mode)) return QRBSourceControlError_AuthenticationSSHKeyInvalid(url);
  // What ssh itself insists on.
  if ((info.st_mode & 077) != 0) return QRBSourceControlError_AuthenticationSSHKeyPermissionsInvalid(url);
  return {};
}

}  // namespace

RemoteAccess RemoteAccess::of(const QRBSourceControlRemoteRepository& repository) {
  RemoteAccess access;
  String whole = repository.URL().absoluteString();
  access.text = addressWithoutPassword(whole.view());
  access.address = RemoteAddress::parse(whole.view());
  // The address may be that of a server alone, and tools want a path.
  if (access.address.path.empty() && access.text.find("://") != std::string::npos) access.text += '/';
  access.trustedFingerprint = repository.trustedServerFingerprint().str();
  access.isFingerprintEnforced = repository.enforceTrustedServerFingerprint();
  auto strategy = repository.authenticationStrategy();
  take(access, strategy.get());
  if (access.user.empty()) access.user = access.address.user.value_or("");
  if (access.kind == Kind::none && access.address.password && access.user == access.address.user.value_or("")) {
    access.kind = Kind::password;
    access.secret = SecretText(*access.address.password);
  }
  if (access.address.password) wipe(*access.address.password);
  access.address.password.reset();
  // The name in the address would win over the one that the user chose.
  bool isOther = access.address.user && *access.address.user != access.user;
  if (isOther && access.text.find("://") != std::string::npos) access.text = addressWithUser(access.text, access.user);
  return access;
}

Error RemoteAccess::fault() const {
  if (!isOneLine(user) || !isOneLine(secret.view())) {
    return QRBSourceControlError_AuthenticationCredentialsInvalid(
        "A user name, password or passphrase that has more than one line cannot be handed over.");
  }
  if (address.isSSH() && !isSafeUser(user)) {
    return QRBSourceControlError_AuthenticationCredentialsInvalid("The user name “" + user +
                                                                  "” cannot be handed to ssh.");
  }
  return kind == Kind::key && !keyFile.empty() ? keyFault(keyFile) : Error();
}

}  // namespace qrb
