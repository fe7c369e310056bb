#pragma once

#include <set>
#include <string_view>
#include <vector>

#include "QRBSourceControlConstants.h"
#include "QRBSourceControlForward.h"
#include "QRBSourceControlMessage.h"

/// What a host asks of the SSH helper service.
namespace QRBSourceControlSSHHelperProtocol {

/// The name that the service is launched by.
inline constexpr std::string_view serviceName = QRB_VENDOR_IDENTIFIER_PREFIX ".Orlix.sourcecontrol.SSHHelper";

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
/// Known hosts: host name to a list of fingerprints, one per key.
inline constexpr Message<Arguments<>, Reply<qrb::Dictionary>> knownHosts{"knownHostsWithCompletionBlock:"};
inline constexpr Message<Arguments<URL, URL, String>, Reply<>> uploadPublicSSHKey{
    "uploadPublicSSHKeyFromFolder:toServer:forUsername:completionBlock:"};
/// To the server of a remote repository, logging in with the strategy that it brings.
inline constexpr Message<Arguments<URL, QRBSourceControlRemoteRepositoryPtr>, Reply<>> uploadPublicSSHKeyWithStrategy{
    "uploadPublicSSHKeyFromFolder:toServerOfRemoteRepository:completionBlock:"};

}  // namespace QRBSourceControlSSHHelperProtocol

/// What a host asks of the working-copy scanner service.
namespace QRBSourceControlWorkingCopyScannerProtocol {

/// The name that the service is launched by.
inline constexpr std::string_view serviceName = QRB_VENDOR_IDENTIFIER_PREFIX ".Orlix.sourcecontrol.WorkingCopyScanner";

/// Folder paths, whether to look upwards, metadata folder names; answers the folders that hold one of them.
inline constexpr qrb::Message<qrb::Arguments<std::vector<qrb::String>, bool, std::set<qrb::String>>,
                              qrb::ReplyWithoutError<std::vector<qrb::URL>>>
    scanFolderPaths{"scanFolderPaths:traversingUp:workingCopyIdentifiers:completionBlock:"};

}  // namespace QRBSourceControlWorkingCopyScannerProtocol
