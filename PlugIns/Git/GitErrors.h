#pragma once

#include "Error.h"
#include "GitTool.h"
#include "SharedString.h"

/// What a request was about, which decides how users are told that it is not there.
enum class GitSubject : unsigned char { WorkingCopy, Repository };

/// The error that a host gets for a git command that failed; git's own words are always in it. `name` is what users
/// call the subject.
qrb::Error gitError(const GitOutcome& outcome, GitSubject subject, const qrb::String& name);
