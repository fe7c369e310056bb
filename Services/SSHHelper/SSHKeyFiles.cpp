#include "SSHKeyFiles.h"

#include <fcntl.h>
#include <stdio.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <system_error>
#include <vector>

#include "FileSystem.h"
#include "Localization.h"
#include "PrivateFolder.h"
#include "QRBSourceControlError.h"
#include "SSHTools.h"

namespace fs = std::filesystem;

namespace {

constexpr const char* kKeyName = "id_rsa";

// Longer than any key; something else was put there by mistake.
constexpr std::size_t kLongestPublicKeyFile = 1 << 20;

bool holdsControlCharacter(const qrb::String& text) {
  auto isControl = [](char character) { return static_cast<unsigned char>(character) < ' ' || character == 0x7f; };
  return std::any_of(text.view().begin(), text.view().end(), isControl);
}

// 0, or why the file could not be given its place, where none must be.
int place(const std::string& from, const std::string& to) {
  if (::chmod(from.c_str(), S_IRUSR | S_IWUSR) != 0) return errno;
  return ::renameat2(AT_FDCWD, from.c_str(), AT_FDCWD, to.c_str(), RENAME_NOREPLACE) == 0 ? 0 : errno;
}

int placePair(const std::string& from, const std::string& to) {
  int problem = place(from, to);
  if (problem != 0) return problem;
  problem = place(from + ".pub", to + ".pub");
  if (problem != 0) ::unlink(to.c_str());
  return problem;
}

qrb::Error cannotGenerate(int number, const std::string& path, const qrb::String& message = "") {
  return systemError(
      number, qrb::format(qrb::localized("The SSH key “%@” could not be generated."), {qrb::String(path)}), message);
}

}  // namespace

qrb::Error validateSSHKeyPair(const qrb::URL& privateKey) {
  std::string path = privateKey.isFileURL() ? privateKey.path().str() : std::string();
  struct stat info {};
  if (path.empty() || ::stat(path.c_str(), &info) != 0 || !S_ISREG(info.st_mode)) {
    return QRBSourceControlError_AuthenticationSSHKeyNotFound(privateKey);
  }
  bool othersMayRead = (info.st_mode & (S_IRWXG | S_IRWXO)) != 0;
  if (othersMayRead || ::access(path.c_str(), R_OK) != 0) {
    return QRBSourceControlError_AuthenticationSSHKeyPermissionsInvalid(privateKey);
  }
  // With an empty passphrase: a protected key is refused only for that, once its form has been found good.
  SSHToolOutcome opened = runSSHTool("ssh-keygen", {"-y", "-P", "", "-f", path});
  bool isProtected = opened.result.errorText.find("incorrect passphrase") != std::string::npos;
  if (opened.result.launchFailure) {
    return systemError(opened.result.launchFailure->errorNumber, opened.message());
  }
  if (!opened.succeeded() && !isProtected) return QRBSourceControlError_AuthenticationSSHKeyInvalid(privateKey);
  auto publicKey = SSHPublicKey::parse(qrb::readFile(path + ".pub", kLongestPublicKeyFile).value_or(""));
  if (!publicKey || (opened.succeeded() && publicKey != SSHPublicKey::parse(opened.output))) {
    return QRBSourceControlError_AuthenticationSSHPublicKeyNotFound(privateKey);
  }
  return {};
}

qrb::Result<qrb::URL> generateSSHKeyPair(const qrb::String& passphrase, const qrb::String& comment,
                                         const qrb::URL& folder) {
  std::string parent = folder.isFileURL() ? folder.path().str() : std::string();
  std::string path = parent + "/" + kKeyName;
  if (parent.empty()) return cannotGenerate(ENOENT, path);
  // ssh's tools end a passphrase at a line's end and cut what is too long; a comment with a line's end would add a line
  // to the files of authorized keys.
  if (holdsControlCharacter(passphrase) || passphrase.size() > kMostPassphraseBytes || holdsControlCharacter(comment)) {
    return cannotGenerate(EINVAL, path);
  }
  if (!qrb::makePrivateDirectory(parent) && errno != EEXIST) return cannotGenerate(errno, path);
  // Removes what the generation has left, whichever way it ends.
  qrb::PrivateFolder work(parent, ".new-key-");
  if (work.path().empty()) return cannotGenerate(errno, path);
  std::string made = work.path() + "/" + kKeyName;
  std::vector<std::string> arguments = {"-q", "-t", "rsa", "-b", "3072", "-f", made};
  if (comment) arguments.insert(arguments.end(), {"-C", comment.str()});
  if (::access(path.c_str(), F_OK) == 0) return cannotGenerate(EEXIST, path);
  SSHToolOutcome outcome = runSSHToolWithPassphrase("ssh-keygen", std::move(arguments), passphrase.view(), 2);
  if (!outcome.succeeded()) return cannotGenerate(EIO, path, outcome.message());
  if (int problem = placePair(made, path); problem != 0) return cannotGenerate(problem, path);
  return qrb::URL::fileURL(path);
}

std::optional<std::string> publicSSHKeyInFolder(const std::string& folder) {
  std::vector<std::string> candidates;
  for (const char* name : {"id_rsa.pub", "id_ecdsa.pub", "id_dsa.pub", "id_ed25519.pub"}) {
    candidates.push_back(folder + "/" + name);
  }
  std::error_code error;
  std::vector<std::string> others;
  for (fs::directory_iterator entry(folder, error), end; !error && entry != end; entry.increment(error)) {
    if (entry->path().extension() == ".pub") others.push_back(entry->path().string());
  }
  std::sort(others.begin(), others.end());
  candidates.insert(candidates.end(), others.begin(), others.end());
  for (const std::string& candidate : candidates) {
    std::string text = qrb::readFile(candidate, kLongestPublicKeyFile).value_or("");
    text = text.substr(0, text.find('\n'));
    if (SSHPublicKey::parse(text)) return text;
  }
  return std::nullopt;
}
