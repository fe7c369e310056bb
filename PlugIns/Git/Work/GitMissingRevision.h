#pragma once

#include <string>

#include "GitTool.h"

/// Says why a command that took `name` (see gitLocationName) for a revision found none, as far as there is more to it
/// than that nothing is called so: the name is that of a file's or folder's contents, or the repository lacks what a
/// branch, a tag or HEAD stands for. Any other outcome stays as it is.
GitOutcome gitExplainMissingRevision(const GitTool& tool, const std::string& name, GitOutcome outcome);
