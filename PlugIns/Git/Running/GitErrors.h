#pragma once

#include "Error.h"
#include "GitTool.h"
#include "SharedString.h"

/// What a request was about, which decides how users are told that it is not there.
enum class GitSubject : unsigned char { workingCopy, repository };

/// The error that a host gets for a git command that failed; git's own words are always in it. `name` is what users
/// call the subject.
qrb::Error gitError(const GitOutcome& outcome, GitSubject subject, const qrb::String& name);

/// What there can be only one of under a name.
enum class GitThing : unsigned char { branch, tag, remoteRepository };

/// The error that a thing of this name is there already, so that none can be made; the code is that of a repository
/// that exists.
qrb::Error gitAlreadyExists(GitThing thing, const qrb::String& name, const qrb::String& message);

/// The error that a branch cannot be removed while a working copy has it checked out; the code is that of a locked
/// repository.
qrb::Error gitBranchInUse(const qrb::String& name, const qrb::String& message);

/// The error that several branches here may be meant by the name of one there; the code is that of a branch not found.
qrb::Error gitUnclearBranch(const qrb::String& name, const qrb::String& message);
