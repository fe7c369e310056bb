#pragma once

#include <string>
#include <vector>

#include "GitTool.h"
#include "SharedString.h"

// Discarding gives tracked files back the state that they have in HEAD, on disk and in the staging area. Files that the
// user has added and no revision has are no longer staged, but stay on disk: they are nowhere else. Untracked files are
// left alone.

/// Discards the changes of files, and of all that is tracked in folders. A file that was moved has both halves put
/// back, whichever of them is named. A name that is not tracked fails with UnknownPath, and then nothing is discarded.
GitOutcome gitDiscardChanges(const GitTool& tool, const std::string& root, const std::vector<qrb::String>& files);

/// Discards all changes, and ends a merge under way.
GitOutcome gitDiscardAllChanges(const GitTool& tool);
