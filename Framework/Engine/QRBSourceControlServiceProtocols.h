#pragma once

#include <set>
#include <vector>

#include "QRBSourceControlForward.h"
#include "QRBSourceControlMessage.h"

/// What a host asks of the SSH helper service.
namespace QRBSourceControlSSHHelperProtocol {

using qrb::Arguments;
using qrb::Message;
using qrb::Reply;
using qrb::String;
using qrb::URL;
using Strategy = QRBSourceControlSSHKeysAuthenticationStrategyPtr;

inline constexpr Message<Arguments<URL>, Reply<>> validateSSHKeys{"validateSSHKeysWithPrivateKeyURL:completionBlock:"};
inline constexpr Message<Arguments<String, String, URL>, Reply<Strategy>> generateSSHKeysWithComment{
    "generateSSHKeysWithPassphrase:comment:inFolder:completionBlock:"};
inline constexpr Message<Arguments<String, URL>, Reply<Strategy>> generateSSHKeys{
    "generateSSHKeysWithPassphrase:inFolder:completionBlock:"};
inline constexpr Message<Arguments<URL>, Reply<Strategy>> defaultSSHKeyAuthenticationStrategyForURL{
    "defaultSSHKeyAuthenticationStrategyForURL:completionBlock:"};
/// Known hosts: host name to fingerprint.
inline constexpr Message<Arguments<>, Reply<qrb::Dictionary>> knownHosts{"knownHostsWithCompletionBlock:"};
inline constexpr Message<Arguments<URL, URL, String>, Reply<>> uploadPublicSSHKey{
    "uploadPublicSSHKeyFromFolder:toServer:forUsername:completionBlock:"};

}  // namespace QRBSourceControlSSHHelperProtocol

/// What a host asks of the working-copy scanner service.
namespace QRBSourceControlWorkingCopyScannerProtocol {

/// Folder paths, whether to look upwards, metadata folder names; answers the folders that hold one of them.
inline constexpr qrb::Message<qrb::Arguments<std::vector<qrb::String>, bool, std::set<qrb::String>>,
                              qrb::ReplyWithoutError<std::vector<qrb::URL>>>
    scanFolderPaths{"scanFolderPaths:traversingUp:workingCopyIdentifiers:completionBlock:"};

}  // namespace QRBSourceControlWorkingCopyScannerProtocol
