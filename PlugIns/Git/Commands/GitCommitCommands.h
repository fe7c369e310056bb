#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "GitCommands.h"

/// Comes before each path that gitCommitCommand() gives to git, which may quote it in its messages.
inline constexpr std::string_view gitLiteralPath = ":(literal)";

/// What to commit. Nobody is made up as its author: without a name and an e-mail address git fails (IdentityUnknown).
struct GitCommitRequest {
  /// As it is to be recorded, but for white space at the ends of its lines and its own. Blank: what git or a hook has
  /// prepared, as for a merge.
  std::string message;
  /// Exactly these files as they are on disk, and folders with all that is tracked in them, whatever is staged of
  /// others. Empty: what is staged. From the root, as gitResolvePath() gives them.
  std::vector<std::string> paths;
};

/// Makes a commit: see gitReadCommit(). Exits with 1, having printed something, where there is nothing to commit.
GitCommand gitCommitCommand(const GitCommitRequest& request);

/// The abbreviated object name in what gitCommitCommand() printed; empty when it is something else.
std::string_view gitReadCommit(std::string_view output);

/// Prints nothing and exits with 1 when the staging area is not as a revision or tree has it. Fails with UnbornHead on
/// a branch without commits.
GitCommand gitStagedCommand(std::string_view revision = "HEAD");
/// Prints the paths that are staged, a zero byte after each. Fails with UnbornHead on a branch without commits.
GitCommand gitStagedPathsCommand();
