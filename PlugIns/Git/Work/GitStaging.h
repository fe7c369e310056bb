#pragma once

#include <cstdint>
#include <map>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "GitFileCommands.h"
#include "GitTool.h"

/// Stages files ahead of their commit, and can take that back.
///
/// Git moves the branch to a new commit before it writes the staging area that goes with it. When it is cut off in
/// between, files that were not staged before the commit look as if they had been taken out of it; what is staged
/// already stays as it is.
class GitStaging {
 public:
  GitStaging(const GitTool& tool, const std::string& root, GitPathList paths)
      : _tool(tool), _root(root), _paths(std::move(paths)) {}

  /// Remembers what is staged of the files. Fails with MidOperation where one is in conflict.
  GitOutcome prepare();

  /// Stages the files as they are on disk, and everything in folders that no rule ignores. Names that are neither on
  /// disk nor staged are passed over.
  GitOutcome stage();

  /// After stage(): takes the names out of the list of which all that was staged is gone from disk and no revision has
  /// anything, since git does not know such names any more. Fails with NothingToCommit where none is left.
  GitOutcome removeVanished(GitPathList& names) const;

  /// Gives back to the staging area what it had of these paths.
  GitOutcome restore() const;

  /// What prepare() has remembered, as text for another process.
  std::string remembered() const;
  /// For another process: gives back what was remembered so, unless it has been committed meanwhile. What is of another
  /// form changes nothing.
  static void restoreUncommitted(const std::string& root, std::string_view remembered);

 private:
  struct Entry {
    std::uint32_t mode = 0;
    std::string object;
    bool operator==(const Entry&) const = default;
  };
  /// By path and, in a conflict, side.
  using Entries = std::map<std::pair<std::string, std::uint8_t>, Entry>;

  GitOutcome read(Entries& entries) const;
  bool remember(std::string_view text);
  void restoreUncommitted() const;
  GitOutcome findIntended();
  std::vector<bool> findVanished() const;

  const GitTool& _tool;
  const std::string& _root;
  GitPathList _paths;
  Entries _before;
  /// Known, but nothing staged of them.
  std::set<std::string, std::less<>> _intended;
};

/// What a command printed with a zero byte after each path.
GitPathList gitReadPaths(std::string_view output);
