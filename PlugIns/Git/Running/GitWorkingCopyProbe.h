#pragma once

#include <optional>
#include <string>
#include <vector>

/// A working copy on disk and the repository that it belongs to, as absolute paths.
struct GitWorkingCopyPlace {
  std::string root;
  /// The folder that a repository request is run in: of a repository with a working copy of its own that one's root,
  /// also when asked from one of its further working copies; else the repository itself.
  std::string repository;
};

/// Tells whether a path, or the folder whose ".git" it is, is the root of a working copy, by what is on disk and
/// without running git: a scan asks about thousands. None for folders within a working copy and for bare repositories.
std::optional<GitWorkingCopyPlace> gitProbeWorkingCopy(const std::string& path);

/// Whether a merge or a cherry-pick has begun in a working copy and is not committed yet, by what is on disk.
bool gitIsMerging(const std::string& root);

/// The folders of the repository of a working copy, by its root, or of a repository, by its own folder: that which is
/// of one working copy alone, and that which all share where it is another.
std::vector<std::string> gitRepositoryFolders(const std::string& folder);
