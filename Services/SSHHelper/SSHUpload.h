#pragma once

#include <chrono>

#include "Error.h"
#include "QRBSourceControlForward.h"
#include "SharedString.h"
#include "URL.h"

/// How long a server may be silent, and how long all may take.
struct SSHUploadLimits {
  /// Between the questions whether a server is still there; as many as it may leave unanswered.
  std::chrono::seconds silence{15};
  int silences = 3;
  std::chrono::milliseconds overall{std::chrono::minutes(2)};
};

/// Authorizes the folder's public key on a server that ssh knows already. Logs in with the password in the server's
/// address where there is one for that user, else with what ssh has (an agent, another key), and asks nobody. What is
/// authorized already stays as it is.
qrb::Error uploadPublicSSHKey(const qrb::URL& folder, const qrb::URL& server, const qrb::String& username,
                              const SSHUploadLimits& limits = {});

/// Authorizes it on the server of a repository, and logs in there as its authentication strategy says.
qrb::Error uploadPublicSSHKey(const qrb::URL& folder, const QRBSourceControlRemoteRepository& toServerOf,
                              const SSHUploadLimits& limits = {});
