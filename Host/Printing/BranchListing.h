#pragma once

#include "QRBSourceControlForward.h"
#include "Session.h"

namespace host {

/// Which branches a listing has.
struct BranchListing {
  bool local = true;
  bool remote = false;
};

/// Prints the branches of a working copy's repository, the current one marked.
ExitStatus listBranches(Session& session, const QRBSourceControlWorkingCopyPtr& workingCopy, BranchListing listing);

}  // namespace host
