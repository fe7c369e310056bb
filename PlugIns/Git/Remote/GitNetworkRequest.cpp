#include "GitNetworkRequest.h"

#include "GitBranchValues.h"
#include "GitRepositoryCommands.h"

GitNetworkRequest::GitNetworkRequest(const std::string& folder, const QRBSourceControlRemoteRepositoryPtr& remote,
                                     int hostConnection)
    : _folder(folder), _local(folder, hostConnection), _remote(folder, remote, hostConnection) {}

qrb::Error GitNetworkRequest::open(GitOutcome& outcome) {
  // What costs nothing first: a key file that is missing needs no git to be told.
  if (qrb::Error error = _remote.prepare()) return error;
  outcome = findRemote();
  if (!outcome) return {};
  if (_configured != nullptr) _remote.follow(*_configured);
  return _remote.judgeServer();
}

GitOutcome GitNetworkRequest::findRemote() {
  std::string output;
  GitOutcome outcome = _local.run(gitNetworkSettingsCommand(), output);
  // Nothing is set.
  if (outcome.exitCode == 1 && outcome.kind == GitOutcome::Kind::failed) outcome = GitOutcome();
  if (!outcome) return outcome;
  _settings = gitReadNetworkSettings(output);
  _configured = _settings.remoteAt(_remote.access().address, _folder);
  if (_configured != nullptr) return outcome;
  // The user's settings may give addresses another beginning, and hosts know them as they are then.
  std::string addresses;
  outcome = _local.run(gitRemoteAddressesCommand(), addresses);
  if (!outcome) return outcome;
  for (const GitRemote& remote : gitReadRemotes(addresses + "\n").value_or(std::vector<GitRemote>())) {
    if (qrb::RemoteAddress::parse(remote.address).isSamePlaceAs(_remote.access().address)) {
      _configured = _settings.remoteNamed(remote.name);
    }
  }
  return outcome;
}

std::string GitNetworkRequest::currentBranch() const {
  std::string name;
  if (!_local.run(gitCurrentBranchCommand(), name)) return {};
  return std::string(gitLocalBranchName(name));
}
