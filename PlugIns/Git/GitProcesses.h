#pragma once

#include <string>

/// Waits until this process is alone in its process group. False where others do not end in time.
bool gitWaitForGroup();

/// Whether a git that is not of this process's group runs in a folder or below it: what it has locked is its own.
bool gitWorksIn(const std::string& folder);
