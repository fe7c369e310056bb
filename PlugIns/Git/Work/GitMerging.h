#pragma once

#include <string>

#include "GitTool.h"

/// The name by which the message of a merge will call a ref: short where that means nothing else.
std::string gitNameToMerge(const GitTool& tool, const std::string& fullName);

/// Runs a command that brings other commits into what is checked out. Fails with MergeConflict where it stops for the
/// user to resolve conflicts, which are then in the working copy.
GitOutcome gitRunMerge(const GitTool& tool, const GitCommand& command);
