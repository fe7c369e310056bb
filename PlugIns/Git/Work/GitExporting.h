#pragma once

#include <string>

#include "GitTool.h"

/// Writes a file as a revision has it, the way a checkout would write it there, to a path where nothing is: complete or
/// not at all. A symbolic link is written as a file that holds its target. Fails with UnknownPath for what is no file
/// of the revision, with FileExists where something is at the destination.
GitOutcome gitExportFile(const GitTool& tool, const std::string& revision, const std::string& path,
                         const std::string& destination);

/// Exports the file of a revision's first parent, in which it may have had another path.
GitOutcome gitExportFileOfParent(const GitTool& tool, const std::string& revision, const std::string& path,
                                 const std::string& destination);
