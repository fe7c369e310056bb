#pragma once

#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "Error.h"
#include "QRBSourceControlForward.h"

// Where branches and tags are in a repository in which both are folders. Paths here are below the repository's root, as
// people write them, without slashes at either end; those of locations are encoded as in addresses. Pure.

struct SubversionLayout {
  /// Empty: not known.
  std::string primary;
  std::string branches;
  std::string tags;

  static SubversionLayout of(const QRBSourceControlBranchAndTagLocationsPtr& locations);
  QRBSourceControlBranchAndTagLocationsPtr locations() const;
  bool isCompleteForBranches() const { return !primary.empty() && !branches.empty(); }

  /// What a path is: the primary branch, a branch or tag by its name, or else a path.
  QRBSourceControlRevisionLocationPtr locationOf(std::string_view path) const;
  QRBSourceControlBranchPtr branchAt(std::string_view path) const;
};

/// The folders in a folder of the repository; none where it is not there.
using SubversionFolders = std::function<std::optional<std::vector<std::string>>(const std::string& path)>;

/// Looks for a trunk, and for folders of branches and tags, around a path: where the path itself goes through one of
/// them, then in the folder itself and in those above it. Empty where none is found. "trunk", "branches" and "tags"
/// count in any case, and "branch" and "tag" as well; of the three those that are missing get their usual names, once
/// a trunk or a folder of branches is there.
SubversionLayout subversionDetectLayout(std::string_view path, const SubversionFolders& folders);

/// What a path tells by itself, without anybody being asked: the layout of the first trunk, folder of branches or
/// folder of tags that it goes through. Empty where it goes through none.
SubversionLayout subversionLayoutAlong(std::string_view path);

/// The path of a location; of one that names no line, empty. The error is that the layout says too little, or that a
/// name is none.
qrb::Error subversionPathOf(const QRBSourceControlRevisionLocationPtr& location, const SubversionLayout& layout,
                            std::string& path);
/// Whether the path of a location depends on the layout.
bool subversionNeedsLayout(const QRBSourceControlRevisionLocationPtr& location);

/// A path without slashes at either end; "." is the root.
std::string_view subversionTrimmed(std::string_view path);
/// What follows a folder in a path below it; none where it is not below it.
std::optional<std::string_view> subversionBelow(std::string_view path, std::string_view folder);
