#pragma once

#include <optional>
#include <string>

#include "GitCommands.h"

/// One side of a comparison.
struct GitDiffSide {
  enum class Kind : unsigned char {
    commit,
    /// What the files of the working copy hold now, those that are not tracked left out.
    workingCopy,
    /// The state before the first revision: no files.
    nothing,
  };
  Kind kind = Kind::commit;
  /// Full object name of a commit; of nothing the empty tree's, which may be left out where the other is a commit.
  std::string hash;
};

/// Prints what has to be done to `from` to get `to`: see GitDiffParser. Runs no program that the repository names for
/// showing differences. None where they are the same side: nothing differs then.
std::optional<GitCommand> gitDiffCommand(const GitDiffSide& from, const GitDiffSide& to);

/// Prints the object name of the tree without entries, which each kind of hash gives another.
GitCommand gitEmptyTreeCommand();
