#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "QRBSourceControlForward.h"

// From git's names to the branches that hosts get. Pure functions.

/// Whether a branch, by its name without folder and remote, counts as the main one. Git marks none as such; these names
/// are what it gives the first. A branch found by different requests must be equal, so nothing but the name may decide.
bool gitIsPrimaryBranchName(std::string_view name);

/// The name without "refs/heads/"; other names as they are.
std::string_view gitLocalBranchName(std::string_view fullName);

/// The remote that a remote branch's name ("origin/main") begins with: the longest, since names of remotes may hold
/// slashes; of what is left of a remote that was removed by hand, the part before the first slash.
std::string_view gitRemoteOfBranch(std::string_view name, const std::vector<std::string>& remotes);

/// A branch of this repository, pinned to the revision.
QRBSourceControlBranchPtr gitLocalBranch(std::string_view name, std::string_view hash);
/// A branch of a remote, pinned to the revision where one is known.
QRBSourceControlBranchPtr gitRemoteBranch(std::string_view name, std::string_view remote, std::string_view hash);

/// The lines of a text, without their ends.
std::vector<std::string> gitLines(std::string_view text);
