#pragma once

#include <functional>

#include "Dictionary.h"
#include "QRBSourceControlForward.h"
#include "QRBSourceControlSSHKeysAuthenticationStrategy.h"
#include "SharedString.h"
#include "URL.h"

/// Serves the messages of the SSH helper. Each request is worked on aside, so a server that does not answer holds up
/// no other.
class SSHHelper {
 public:
  template <class... Values>
  using Completion = std::function<void(const Values&..., const qrb::Error&)>;
  using StrategyPtr = QRBSourceControlSSHKeysAuthenticationStrategyPtr;

  void validateSSHKeys(const qrb::URL& privateKeyURL, Completion<> completionBlock);
  void generateSSHKeysWithComment(const qrb::String& passphrase, const qrb::String& comment, const qrb::URL& inFolder,
                                  Completion<StrategyPtr> completionBlock);
  void generateSSHKeys(const qrb::String& passphrase, const qrb::URL& inFolder,
                       Completion<StrategyPtr> completionBlock);
  /// The first of the keys that ssh is configured to offer that server and that exists, with the user name that it
  /// would log in with.
  void defaultSSHKeyAuthenticationStrategyForURL(const qrb::URL& url, Completion<StrategyPtr> completionBlock);
  void knownHosts(Completion<qrb::Dictionary> completionBlock);
  /// As those of SSHUpload.h.
  void uploadPublicSSHKey(const qrb::URL& folder, const qrb::URL& toServer, const qrb::String& forUsername,
                          Completion<> completionBlock);
  void uploadPublicSSHKeyWithStrategy(const qrb::URL& folder, const QRBSourceControlRemoteRepositoryPtr& toServerOf,
                                      Completion<> completionBlock);
};
