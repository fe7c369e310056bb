#pragma once

#include <time.h>

#include <string>

/// Removes git's lock files from the repository of a working copy (by its root) or from a repository (by its folder)
/// that were made at a time or later. For when it is known that whoever made them is gone.
void gitRemoveLockFiles(const std::string& folder, const timespec& since);
