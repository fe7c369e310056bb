#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "GitCommands.h"
#include "URL.h"

/// Prints the name that the user has chosen for the first branch of new repositories. Exits with 1 and no message where
/// there is none.
GitCommand gitFirstBranchNameCommand();

/// Makes an empty repository with a working copy in the folder, and the folder. It can be run in any folder. With an
/// empty name the first branch is called as the user's configuration says.
GitCommand gitCreateRepositoryCommand(std::string_view folder, std::string_view firstBranch);

/// Prints the remotes with their addresses: see gitReadRemotes().
GitCommand gitRemoteAddressesCommand();

struct GitRemote {
  std::string name;
  /// Where fetches go, with the user's rewriting of addresses done.
  std::string address;
  bool operator==(const GitRemote&) const = default;
};

/// Reads the output of gitRemoteAddressesCommand(), in the order in which git lists them. Remotes without an address
/// are left out, and of several addresses the first counts. None when it is something else.
std::optional<std::vector<GitRemote>> gitReadRemotes(std::string_view output);

/// A remote's address as hosts get it: paths, which git reads from the repository's folder, as file URLs, so that all
/// addresses are treated alike; all others as they stand.
qrb::URL gitRemoteURL(std::string_view address, std::string_view folder);

/// Makes a remote known, without fetching. Fails with Exists. Name and address have been checked (GitNames.h).
GitCommand gitAddRemoteCommand(std::string_view name, std::string_view address);

/// Forgets a remote and what was fetched of its branches. Fails with UnknownRemote.
GitCommand gitRemoveRemoteCommand(std::string_view name);
