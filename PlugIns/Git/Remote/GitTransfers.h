#pragma once

#include <string>
#include <vector>

#include "GitTool.h"
#include "SharedString.h"

// Copying and moving files of a working copy. Every pair is checked before anything happens: the source has to be
// tracked and on disk, the destination must not exist, not even as an empty folder. Folders that are missing above a
// destination are made. What fails half-way is undone.

/// Copies each file, and each folder with what is tracked in it, as it is on disk, and stages the copies.
GitOutcome gitCopyFiles(const GitTool& tool, const std::string& root, const std::vector<qrb::String>& files,
                        const std::vector<qrb::String>& toFilePaths);

/// Moves each file or folder; what is staged of it and what is not stays so under its new path.
GitOutcome gitMoveFiles(const GitTool& tool, const std::string& root, const std::vector<qrb::String>& files,
                        const std::vector<qrb::String>& toFilePaths);
