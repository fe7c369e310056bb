#pragma once

#include <string_view>

#include "Error.h"
#include "GitRemoteTool.h"

/// What a push came to: no error where the remote took all that it was sent or had it already; else that it has what
/// was not sent, or does not take it, with its own words, or why it was not reached. `output` is what the command
/// printed, see gitReadPushReport().
qrb::Error gitPushError(const GitRemoteTool& remote, const GitOutcome& outcome, std::string_view output);
