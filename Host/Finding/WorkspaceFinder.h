#pragma once

#include <string>
#include <utility>
#include <vector>

#include "QRBSourceControlWorkspaceForward.h"
#include "Result.h"
#include "Session.h"

namespace host {

/// The working copies at and below a folder, as a workspace without a primary one.
struct FoundWorkspace {
  QRBSourceControlWorkspacePtr workspace;
  /// The folder, as a path without symbolic links.
  std::string root;
};
/// An empty path means the current folder. That there is no working copy is an error.
qrb::Result<FoundWorkspace> findWorkspace(Session& session, const std::string& folder);

/// Where a working copy lies from the folder on; "." for the folder itself.
std::string placeIn(const std::string& root, const QRBSourceControlWorkingCopyPtr& workingCopy);

/// What failed, by where.
using Failures = std::vector<std::pair<std::string, qrb::Error>>;
/// Prints a title and below it each failure, and returns what to end with.
ExitStatus failWith(Session& session, const std::string& title, const Failures& failures);

/// Asks working copies below a folder what they are on and which repository they are of, and lets them know. Those
/// without history know neither, which is no failure.
Failures learnLocations(Session& session, const std::string& root,
                        const std::vector<QRBSourceControlWorkingCopyPtr>& workingCopies);

/// What of a blueprint is on disk below a folder.
struct FoundOfBlueprint {
  /// They know what they are on, in the blueprint's words.
  QRBSourceControlWorkspacePtr workspace;
  std::shared_ptr<const QRBSourceControlWorkingCopyRemotes> remotes;

  /// Null where it is missing.
  QRBSourceControlWorkingCopyPtr workingCopyOf(const QRBSourceControlRemoteRepositoryPtr& remote) const;
};
qrb::Result<FoundOfBlueprint> findOfBlueprint(Session& session, const QRBSourceControlWorkspaceBlueprintPtr& blueprint,
                                              const std::string& root);

}  // namespace host
