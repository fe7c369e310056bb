#pragma once

#include <functional>
#include <string>
#include <vector>

#include "SharedString.h"
#include "URL.h"

namespace qrb {

/// The folders that may be roots of working copies: those given, all below them and, if asked for, those above, as far
/// as `isCandidate` says so of them. Links are not followed, folders named `metadata` not entered, and what cannot be
/// read is passed over.
std::vector<URL> workingCopyCandidates(const std::vector<String>& folderPaths, bool traversingUp,
                                       const std::string& metadata,
                                       const std::function<bool(const std::string& folder)>& isCandidate);

}  // namespace qrb
