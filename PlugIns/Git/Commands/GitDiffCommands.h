#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

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

/// How two trees differ at a path, renames not looked for.
struct GitRawChange {
  /// 0 on the side that has no such path.
  std::uint32_t oldMode = 0;
  std::uint32_t newMode = 0;
  std::string newObject;
  std::string path;

  bool isAddition() const { return oldMode == 0; }
  bool isDeletion() const { return newMode == 0; }
};

/// Prints how one revision or tree differs from another: see gitReadRawDiff().
GitCommand gitRawDiffCommand(std::string_view from, std::string_view to);

/// Reads what gitRawDiffCommand() printed, as far as it is that.
std::vector<GitRawChange> gitReadRawDiff(std::string_view output);
