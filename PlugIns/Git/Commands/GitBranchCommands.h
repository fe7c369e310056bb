#pragma once

#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "GitCommands.h"

// Commands about branches and the revisions that locations stand for. Refs are full names ("refs/heads/main") as
// gitLocationName() gives them, names of branches are without the folder; both have been checked (GitNames.h).

/// Prints the full object names of the commits that the revisions or refs stand for, one on a line in their order, up
/// to the first that there is not; with that it fails as UnknownRevision.
GitCommand gitResolveAllCommand(std::span<const std::string> names);

/// Prints the branches of this repository and of its remotes that hold the commit: see GitRefParser.
GitCommand gitBranchesHoldingCommand(std::string_view hash);

/// Prints the commits that no branch holds but the named refs, from the ref back along first parents: the object name
/// of each and of its parents on a line, newest first. Nothing for a ref that another branch holds.
GitCommand gitOwnCommitsCommand(std::string_view ref, std::span<const std::string> except);

/// Prints what git noted of the changes of a branch, one on a line, newest first; nothing where it keeps no such notes.
GitCommand gitBranchNotesCommand(std::string_view ref);

/// What a branch was made from, in the words of whoever made it, as far as what gitBranchNotesCommand() printed tells;
/// empty where it does not.
std::string_view gitReadBranchOrigin(std::string_view notes);

/// Prints the name of the branch that a remote calls its main one, as a full ref. Exits with 1 and no message where it
/// is not known.
GitCommand gitMainBranchOfRemoteCommand(std::string_view remote);

/// Prints the newest commit that both have in common. Exits with 1 and no message where they have none.
GitCommand gitCommonAncestorCommand(std::string_view hash, std::string_view otherHash);

/// Makes a branch at a ref or revision. Fails with Exists, UnknownRevision.
GitCommand gitAddBranchCommand(std::string_view name, std::string_view start);

/// Removes a branch, merged or not; of remote branches what is known here of them. Fails with UnknownBranch,
/// BranchInUse.
GitCommand gitRemoveBranchCommand(std::string_view ref);

/// Prints the full name of the ref that a name stands for, and nothing for an object's own name. Fails where there is
/// none, and for HEAD where it stands for a branch without commits.
GitCommand gitRefOfNameCommand(std::string_view name);
/// Prints what kind of object a name stands for ("commit", "tree", "blob"); of tags with a message what they are on.
GitCommand gitObjectKindCommand(std::string_view name);

/// Prints which branch of which remote a branch follows: see gitReadUpstream(). Nothing where there is no such branch.
GitCommand gitUpstreamCommand(std::string_view ref);

/// What a branch follows. All is empty where it follows none.
struct GitUpstream {
  /// Where the last fetch put it ("refs/remotes/origin/main"); may be empty where fetches pass it over.
  std::string ref;
  /// The remote's name; "." for this repository, or an address where no remote is configured.
  std::string remote;
  /// What the remote calls it ("refs/heads/main").
  std::string remoteRef;
};

/// Reads the output of gitUpstreamCommand(). None when it is something else or nothing.
std::optional<GitUpstream> gitReadUpstream(std::string_view output);
