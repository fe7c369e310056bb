#pragma once

#include <sys/types.h>

#include <string>

/// Waits until a process is alone in a process group. False where others do not end in time.
bool gitWaitForGroup(pid_t group, pid_t process);

/// Whether a git runs in a folder or below it: what it has locked is its own.
bool gitWorksIn(const std::string& folder);
