#pragma once

#include <string>
#include <string_view>

#include "GitCommands.h"

// Merging, and switching what is checked out. Names come checked by gitRefuseLocation(); hooks run. All fail with
// LocalChanges where changes of the user would be lost, and with UnknownRevision for what is not there.

/// Merges a branch into the one checked out. Fails (exit status 1, its words on standard output) in a conflict.
GitCommand gitMergeCommand(std::string_view branch);
/// Merges as the user has set up for updating: `fastForward` is "only", "false" (make a merge of everything) or else.
GitCommand gitMergeCommand(std::string_view branch, std::string_view fastForward);
/// Puts the commits of the branch checked out on top of the revision; with `keepsMerges` merges among them stay. Fails
/// like a merge.
GitCommand gitRebaseCommand(std::string_view revision, bool keepsMerges);

/// Gives up a merge that is not committed yet.
GitCommand gitAbortMergeCommand();
/// Prints the name of the tree that merging a commit into HEAD makes, on the first line; fails where it has conflicts.
GitCommand gitMergedTreeCommand(std::string_view commit);
/// Switches files and staging area, which are as one tree, to another, as a checkout does.
GitCommand gitReadTreesCommand(std::string_view from, std::string_view to);

/// Prints the full name of the ref that a name alone stands for; nothing when it is ambiguous.
GitCommand gitFullNameCommand(std::string_view name);

/// Checks out a local branch, by its name without a folder.
GitCommand gitSwitchToBranchCommand(std::string_view name);
/// Makes a local branch at a revision (HEAD where it is empty) and checks it out. With `tracks` it follows the
/// revision, which is then a remote branch. Fails with Exists where there is such a branch.
GitCommand gitSwitchToNewBranchCommand(std::string_view name, std::string_view revision, bool tracks);
/// Checks out a revision without a branch.
GitCommand gitSwitchToRevisionCommand(std::string_view revision);
