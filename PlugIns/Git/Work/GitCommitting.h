#pragma once

#include <string>
#include <vector>

#include "GitTool.h"
#include "GitWorkingCopyLock.h"
#include "SharedString.h"

/// Commits, and gives the full object name of the new commit.
///
/// With files, exactly these: as they are on disk, new and deleted ones too, and everything in folders that no rule
/// ignores. What was staged as new and is gone since is not committed, and is staged no more. What else is
/// staged stays so. Without files, what is staged, or, where nothing is, every change of tracked files. A merge is
/// committed as a whole: files may be named if all that it changes is among them, and a file that is not, or still in
/// conflict, is an error (MidOperation). A commit that fails or is cut off leaves what is staged as it was. Where there
/// is nothing to commit, it fails with NothingToCommit.
GitOutcome gitCommit(const GitTool& tool, GitWorkingCopyLock& lock, const std::string& root,
                     const std::vector<qrb::String>& files, const std::string& message, std::string& hash);
