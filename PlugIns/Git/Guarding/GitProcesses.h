#pragma once

#include <string>

/// Whether a git runs in a folder or below it: what it has locked is its own.
bool gitWorksIn(const std::string& folder);
