#pragma once

#include <time.h>

#include <functional>
#include <string>

#include "GitTool.h"
#include "GitWorkingCopyLock.h"

/// Takes back what a switch or merge that was cut off has done, so that the working copy is where it was before: git
/// itself would take its half of the work for changes of the user that are in the way of everything else.
///
/// `target` is the commit that was to be checked out or merged, `begin` the time before that. Files are put back only
/// if they are, since then, what the target has, or empty; so nothing is lost. When the work had been done but for its
/// last step, that is put back as well; where it was done, nothing happens.
void gitTakeBackCheckout(const std::string& root, const std::string& target, bool isMerge, const timespec& begin);

/// Runs work that checks out or merges a revision, and has it taken back when it is cut off. Where the revision is not
/// there, the work itself will say so.
GitOutcome gitRunCheckout(const GitTool& tool, GitWorkingCopyLock& lock, const std::string& root,
                          const std::string& revision, bool isMerge, const std::function<GitOutcome()>& work);
