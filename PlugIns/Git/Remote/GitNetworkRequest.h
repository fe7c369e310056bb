#pragma once

#include <string>

#include "GitNetworkSettings.h"
#include "GitRemoteTool.h"
#include "QRBSourceControlForward.h"

/// A repository of this machine and a remote one, for the one request that concerns both.
class GitNetworkRequest {
 public:
  GitNetworkRequest(const std::string& folder, const QRBSourceControlRemoteRepositoryPtr& remote, int hostConnection);

  /// To be called first: checks the remote and finds what the repository's configuration says of it. `outcome` tells
  /// of a repository that cannot be asked; then there is no error here.
  qrb::Error open(GitOutcome& outcome);

  /// For commands that reach nothing but the repository.
  const GitTool& local() const { return _local; }
  GitRemoteTool& remote() { return _remote; }
  const GitNetworkSettings& settings() const { return _settings; }
  /// The remote of the repository that is meant; null where none has the address.
  const GitRemoteSettings* configured() const { return _configured; }
  /// The branch checked out, without a folder; empty where none is. It need not have commits.
  std::string currentBranch() const;

 private:
  GitOutcome findRemote();

  const std::string _folder;
  GitTool _local;
  GitRemoteTool _remote;
  GitNetworkSettings _settings;
  const GitRemoteSettings* _configured = nullptr;
};
