#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "GitTool.h"

/// A branch as git lists it, with what is needed to tell which one another came from.
struct GitBranchEntry {
  std::string fullName;
  /// Without folder and remote.
  std::string name;
  /// Empty for a branch of this repository.
  std::string remote;
  std::string hash;
  std::string upstream;
};

/// Finds the branches that a branch may have been made from, the likeliest first; git does not keep which one it was.
///
/// First comes what git noted when the branch was made, while it keeps the note; then the branch that it follows, if
/// that has another name; then those that hold the revision at which its own commits begin, main ones before others and
/// those of this repository before those of remotes. Branches of the same name elsewhere are copies of it and no
/// candidates, nor, while there are others, are branches that hold all of it, which were made from it. A main branch
/// has none.
///
/// Fails with UnknownBranch where the ref is none. `remotes` are the names of all remotes.
GitOutcome gitFindParentBranches(const GitTool& tool, std::string_view ref, const std::vector<std::string>& remotes,
                                 std::vector<GitBranchEntry>& parents);
