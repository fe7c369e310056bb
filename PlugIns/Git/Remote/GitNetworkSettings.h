#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "GitCommands.h"
#include "RemoteAddress.h"

/// What a repository's configuration says of one remote.
struct GitRemoteSettings {
  std::string name;
  std::vector<std::string> urls;
  std::vector<std::string> pushURLs;
  /// "+refs/heads/*:refs/remotes/origin/*".
  std::vector<std::string> fetchRules;
  /// The other settings that a transfer heeds, without "remote.<name>.": ("tagopt", "--no-tags").
  std::vector<std::pair<std::string, std::string>> settings;
};

/// What a repository's configuration says of one branch, and of updating.
struct GitBranchSettings {
  std::string name;
  /// The remote that it follows ("." is the repository itself), and the full name of the branch there.
  std::string remote;
  std::string merge;
  std::string rebase;
};

struct GitNetworkSettings {
  std::vector<GitRemoteSettings> remotes;
  std::vector<GitBranchSettings> branches;
  /// pull.rebase and pull.ff as they are written; empty where they are not set.
  std::string pullRebase;
  std::string pullFastForward;

  /// The remote that is at the address; null where there is none. Relative paths are read from the folder.
  const GitRemoteSettings* remoteAt(const qrb::RemoteAddress& address, std::string_view folder) const;
  const GitRemoteSettings* remoteNamed(std::string_view name) const;
  const GitBranchSettings* branchNamed(std::string_view name) const;
  /// How the user wants a branch updated: empty for a merge; else as the setting says: "true", "merges", ….
  std::string_view rebaseOf(std::string_view branch) const;
};

/// Prints the settings of remotes, branches and updating: see gitReadNetworkSettings(). Exits with 1 and no message
/// where there are none.
GitCommand gitNetworkSettingsCommand();
/// Reads what gitNetworkSettingsCommand() printed; what is of another form is passed over. Pure.
GitNetworkSettings gitReadNetworkSettings(std::string_view output);

/// Where a remote's branch is kept in this repository after a fetch, by the remote's rules; empty where they keep it
/// nowhere. Both are full names. Pure.
std::string gitTrackingRef(const GitRemoteSettings& remote, std::string_view remoteRef);
