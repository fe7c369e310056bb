#pragma once

#include <optional>
#include <string>

#include "GitCommands.h"

/// One side of a comparison.
struct GitDiffSide {
  enum class Kind : unsigned char {
    Commit,
    /// What the files of the working copy hold now, those that are not tracked left out.
    WorkingCopy,
    /// The state before the first revision: no files.
    Nothing,
  };
  Kind kind = Kind::Commit;
  /// Full object name of a commit; empty for the other kinds.
  std::string hash;
};

/// Prints what has to be done to `from` to get `to`: see GitDiffParser. Runs no program that the repository names for
/// showing differences. None where both sides are not commits, so that no command can compare them, or where they are
/// the same side: nothing differs then.
std::optional<GitCommand> gitDiffCommand(const GitDiffSide& from, const GitDiffSide& to);
