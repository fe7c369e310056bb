#pragma once

#include <string>
#include <vector>

#include "SubversionClient.h"

/// Commits exactly the files named, as they are on disk, new and deleted ones too, and everything in folders that no
/// rule ignores; folders that they need and that are new as well are committed without what else is in them. Without
/// files, every change of what is under source control. What was added or removed here for a commit that failed is so
/// no more. `paths` are absolute, below `root`.
SubversionFailure subversionCommit(SubversionClient& client, const std::string& root,
                                   const std::vector<std::string>& paths, const std::string& message,
                                   SubversionCommitted& committed);
