#pragma once

#include <optional>
#include <span>
#include <string>

#include "Guard.h"

/// Has a guard take back what an interrupted request leaves in a working copy, once nobody works there any more.
qrb::Guard::Job subversionTidyingJob(const std::string& folder);
/// What the plug-in does when a guard starts it for that: the exit status. None where the arguments say nothing of it.
std::optional<int> subversionTidyUp(std::span<char* const> arguments);
