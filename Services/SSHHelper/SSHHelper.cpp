#include "SSHHelper.h"

#include <unistd.h>

#include <cerrno>
#include <string>

#include "FileSystem.h"
#include "Localization.h"
#include "QRBSourceControlError.h"
#include "Result.h"
#include "SSHAddress.h"
#include "SSHHome.h"
#include "SSHKeyFiles.h"
#include "SSHKnownHosts.h"
#include "SSHTools.h"
#include "SSHUpload.h"
#include "ServiceMainPrivate.h"

using qrb::Result;
using qrb::String;
using qrb::URL;
using Strategy = QRBSourceControlSSHKeysAuthenticationStrategy;

namespace {

// Calls for each line of `ssh -G`: a name in lower case and its value.
template <class Take>
void forEachSetting(std::string_view text, Take take) {
  while (!text.empty()) {
    std::string_view line = text.substr(0, text.find('\n'));
    text.remove_prefix(std::min(line.size() + 1, text.size()));
    std::size_t blank = std::min(line.find(' '), line.size());
    take(line.substr(0, blank), line.substr(std::min(blank + 1, line.size())));
  }
}

std::string expandHome(std::string_view path) {
  for (std::string_view home : {"~/", "%d/"}) {
    if (path.starts_with(home)) return qrb::homeDirectory() + "/" + std::string(path.substr(home.size()));
  }
  return std::string(path);
}

Result<SSHHelper::StrategyPtr> defaultStrategy(const URL& url) {
  auto address = SSHAddress::parse(url);
  if (!address) return QRBSourceControlError_AuthenticationStrategyUnsupported();
  std::vector<std::string> arguments = qrb::sshHomeArguments();
  arguments.push_back("-G");
  for (std::string& argument : address->arguments()) arguments.push_back(std::move(argument));
  SSHToolOutcome settings = runSSHTool("ssh", std::move(arguments));
  if (!settings.succeeded()) {
    return systemError(EIO, qrb::localized("The settings of SSH could not be read."), settings.message());
  }
  std::string user;
  std::string first;
  std::string key;
  forEachSetting(settings.output, [&](std::string_view name, std::string_view value) {
    if (name == "user") user = value;
    if (name != "identityfile" || !key.empty()) return;
    std::string path = expandHome(value);
    if (first.empty()) first = path;
    if (::access(path.c_str(), F_OK) == 0) key = path;
  });
  if (key.empty()) return QRBSourceControlError_AuthenticationSSHKeyNotFound(URL::fileURL(first));
  URL file = URL::fileURL(key);
  return address->user.empty() ? Strategy::initWithUsername(String(user), file, nullptr)
                               : Strategy::initWithURLDefinedUsername(String(address->user), file, nullptr);
}

Result<qrb::Dictionary> readKnownHosts() {
  std::string path = qrb::sshKnownHostsFile();
  qrb::Dictionary hosts = qrb::Dictionary::object();
  // Who has never used ssh knows no host.
  if (::access(path.c_str(), F_OK) != 0 && errno == ENOENT) return hosts;
  // Who wants none kept may have put a device in its place.
  auto text = qrb::readFile(path, qrb::anySize, qrb::ReadableKind::anything);
  if (!text) {
    return systemError(errno, qrb::format(qrb::localized("The file “%@” could not be read."), {String(path)}));
  }
  for (const auto& [host, fingerprints] : parseSSHKnownHosts(*text)) {
    hosts[host] = qrb::Dictionary::array({fingerprints.begin(), fingerprints.end()});
  }
  return hosts;
}

}  // namespace

void SSHHelper::validateSSHKeys(const URL& privateKeyURL, Completion<> completionBlock) {
  qrb::serveAside([=] { completionBlock(validateSSHKeyPair(privateKeyURL)); });
}

void SSHHelper::generateSSHKeysWithComment(const String& passphrase, const String& comment, const URL& inFolder,
                                           Completion<StrategyPtr> completionBlock) {
  qrb::serveAside([=] {
    auto generated = generateSSHKeyPair(passphrase, comment, inFolder);
    if (!generated) return completionBlock(nullptr, generated.error());
    completionBlock(Strategy::initWithUsername(nullptr, *generated, passphrase), {});
  });
}

void SSHHelper::generateSSHKeys(const String& passphrase, const URL& inFolder,
                                Completion<StrategyPtr> completionBlock) {
  generateSSHKeysWithComment(passphrase, String(), inFolder, std::move(completionBlock));
}

void SSHHelper::defaultSSHKeyAuthenticationStrategyForURL(const URL& url, Completion<StrategyPtr> completionBlock) {
  qrb::serveAside([=] {
    auto strategy = defaultStrategy(url);
    completionBlock(strategy.valueOr(nullptr), strategy.error());
  });
}

void SSHHelper::knownHosts(Completion<qrb::Dictionary> completionBlock) {
  qrb::serveAside([=] {
    auto hosts = readKnownHosts();
    completionBlock(hosts.valueOr(qrb::Dictionary::object()), hosts.error());
  });
}

void SSHHelper::uploadPublicSSHKey(const URL& folder, const URL& toServer, const String& forUsername,
                                   Completion<> completionBlock) {
  qrb::serveAside([=] { completionBlock(::uploadPublicSSHKey(folder, toServer, forUsername)); });
}

void SSHHelper::uploadPublicSSHKeyWithStrategy(const URL& folder, const QRBSourceControlRemoteRepositoryPtr& toServerOf,
                                               Completion<> completionBlock) {
  qrb::serveAside([=] {
    if (!toServerOf) return completionBlock(QRBSourceControlError_InvalidURL({}, "SSH", ""));
    completionBlock(::uploadPublicSSHKey(folder, *toServerOf));
  });
}
